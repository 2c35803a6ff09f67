// process.h - a worker's process: how it is started, noticed and ended.
#ifndef XAVO_COMPANION_PROCESS_H
#define XAVO_COMPANION_PROCESS_H

#include "protocol.h"

#include <ctime>
#include <sys/types.h>

namespace xavo_companion {

// What the library holds of a worker. A descriptor is set to -1 before it is closed, so that a child forked
// by another thread at that moment never closes a number that belongs to somebody else by then.
struct Process {
    int socket = -1; // -1: there is none
    int pidfd = -1;  // readable at the end of the process; -1: the kernel has none
    int memory = -1; // shared with the worker; open after the start only if its lock replaces `caller`
    // Open during the start only.
    int workers_socket = -1; // the other end
    int caller = -1;         // a pidfd of this process; -1: the kernel has none
    dev_t device = 0;
    ino_t inode = 0; // of the socket
    Shared *shared = nullptr;
};

timespec timespec_of(uint64_t ms);

// Starts `argv` with `environment`. 0, or the errno of what the system refused; a program that cannot be
// executed is reported by a FAILED frame.
int start_process(Process *process, char *const *argv, char *const *environment);

// Whether the socket is still the one that was made: the program may have closed it, and the number may be in
// use again.
bool is_ours(const Process &process);

// Waits for one of `events` on the socket (always: its hang-up), or for the end of the process, up to `ms`
// milliseconds. Returns whether there was any. A process without descriptors has none.
bool wait_for_process(const Process &process, short events, uint64_t ms);
// Whether the process has ended, as its pidfd says: the socket alone does not, since a child that another
// thread forked during the start holds a copy of the worker's end.
bool has_ended(const Process &process);

// Ends the process, does not wait for its end, and closes what belongs to it.
void end_process(Process *process);
// The same without ending it: in a forked child.
void close_process(Process *process);

// Marks a descriptor of this library's, and moves it above those of the standard streams. -1 and errno on
// failure, the descriptor closed.
int adopt(int descriptor);
// Whether an open descriptor is one that adopt() gave.
bool is_adopted(int descriptor);
// Closes a descriptor that adopt() gave. Does nothing if the program has closed it and uses the number for
// another file.
void close_adopted(int *descriptor);

} // namespace xavo_companion

#endif
