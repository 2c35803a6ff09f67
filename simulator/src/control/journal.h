// journal.h - the requests that reached the broker, in the order in which they did, from all processes that
// share a state.
#ifndef CIMSIM_JOURNAL_H
#define CIMSIM_JOURNAL_H

#include "client/broker.h"

#include <deque>
#include <string>

namespace cimsim {

// In memory, or in a file to which each process appends. All calls under the simulator's lock.
class Journal {
public:
    void use(const std::string &path); // empty: in memory
    void clear();
    // Appends in one write, so that a process which is killed leaves whole lines.
    void record(const JournalEntry &entry);
    // All entries; read from the file as far as it has grown since the last call.
    const std::deque<JournalEntry> &entries();

private:
    std::string path_;
    long read_ = 0; // so much of the file is in entries_
    std::deque<JournalEntry> entries_;
};

} // namespace cimsim

#endif
