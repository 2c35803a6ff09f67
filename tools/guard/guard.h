// guard.h - the client that stands in a guarded handle in place of the handle's own.
#ifndef XAVOCTL_GUARD_H
#define XAVOCTL_GUARD_H

#include "handles.h"
#include <ctime>

namespace xavo_companion {

// What the last exchange met.
struct Note {
    enum Exchange { NOTHING, READ, WRITE, METHOD } exchange;
    bool has_outputs; // of a method: whether it filled any in
    XAVO_Reason met;  // but for its kind
};

// A lent handle is of the connection that was open when it was lent: once that is found lost, all of its
// number are stale.
struct Loan {
    bool lent;
    unsigned long connection;
};

struct Guard {
    CMCIClient face;    // what the handle's `client` points to
    CMCIClientFT table; // forwards every slot that the inner client has
    CMCIClient *inner;
    uint64_t good_at; // when the last good answer came, in milliseconds
    uint64_t quiet_ms;
    bool trusted; // the last answer was a good one
    Note note;
    Loan loan;
};

// The guard of a handle; NULL when it has none, with the code that says why.
Guard *guard_of(XAVO_Proxy *sp, XAVO_ErrorCode *code);

// Milliseconds of the monotonic clock, and as the system's functions take them.
uint64_t now_ms();
timespec at(uint64_t ms);

// A signal that the program handles ends the pause early.
void pause_for(uint64_t ms);

// Says that the class of this path can be had; what the connection met otherwise is noted.
bool answers(Guard *guard, CMPIObjectPath *path, CMPIStatus *status);

void tell(const Note &note, XAVO_ErrorCode code, XAVO_Reason *reason);

// The loan's own end, once its client is gone; and the news that its connection is lost.
void loan_ended(const Loan &loan);
void loan_lost(const Loan &loan);

} // namespace xavo_companion

#endif
