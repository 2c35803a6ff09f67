// journal.h - the journal: the requests that reached the broker from all processes that share a state, in
// the order of their arrival.
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
    // Appends the entry, in a session: a part of a line that a killed process has left is removed first.
    void record(const JournalEntry &entry);
    // Returns all entries. First reads those that were appended to the file since the last call.
    const std::deque<JournalEntry> &entries();

private:
    std::string path_;
    long read_ = 0; // number of bytes of the file that were read into entries_
    std::deque<JournalEntry> entries_;
};

} // namespace cimsim

#endif
