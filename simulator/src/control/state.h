// state.h - the state: the file that CIMSIM_STATE names, in which processes share a controller.
#ifndef CIMSIM_STATE_H
#define CIMSIM_STATE_H

#include "client/simulator.h"
#include "control/journal.h"

#include <string>
#include <sys/stat.h>
#include <utility>

namespace cimsim {

// Reads a whole file into `text`, and its status into `seen`. Leaves it open in `held` unless that is NULL.
// False: errno says why.
bool read_whole(const std::string &path, std::string *text, struct stat *seen, int *held);

// Reads and writes the file; remembers its contents. All functions are called under the simulator's lock.
class State final : public SharedController {
public:
    explicit State(Simulator *simulator) : simulator_(*simulator) {}

    void use(const char *path); // NULL or empty: none
    // Sets the error in the scene that the environment names: the first session prints it and ends the
    // program.
    void set_scene_error(std::string error) { scene_error_ = std::move(error); }
    const std::string &path() const { return path_; }
    Journal journal;
    bool in_use() const override { return !path_.empty(); }

    void refresh() override;
    // Locks the file and reads what other processes have written; does nothing without a file. Returns false,
    // and reports on standard error, if it cannot be locked or read. After true, end must be called.
    bool begin() override;
    // Writes what was changed, and unlocks. Returns false, and reports, if it cannot be written.
    bool end() override;
    void record(const JournalEntry &entry) override { journal.record(entry); }
    const std::string &error() const override { return error_; } // empty after a good session

private:
    bool lock();
    void unlock() const;
    bool read();
    bool write(const std::string &text);
    void hold(int file);
    bool fail(const std::string &why);

    Simulator &simulator_;
    std::string path_, error_, scene_error_;
    int lock_ = -1; // descriptor of FILE.lock in the current session
    // Descriptor of the file that was last read or written. It stays open, so that no other file gets the
    // same inode number.
    int held_ = -1;
    bool known_ = false;    // the simulator has the contents of that file
    struct stat seen_ = {}; // its status
    std::string text_;      // its contents
};

} // namespace cimsim

#endif
