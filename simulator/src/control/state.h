// state.h - the controller in a file: what CIMSIM_STATE names, shared by every process that names it.
#ifndef CIMSIM_STATE_H
#define CIMSIM_STATE_H

#include "client/simulator.h"
#include "control/journal.h"

#include <string>
#include <sys/stat.h>
#include <utility>

namespace cimsim {

// The whole of a file; it is left open in `held` unless that is NULL. False: errno says why.
bool read_whole(const std::string &path, std::string *text, struct stat *seen, int *held);

// The file as this process last saw it. All calls under the simulator's lock.
class State final : public SharedController {
public:
    explicit State(Simulator *simulator) : simulator_(*simulator) {}

    void use(const char *path); // NULL or empty: none
    // What is wrong with the scene that the environment names: the first session ends the program with it.
    void set_scene_error(std::string error) { scene_error_ = std::move(error); }
    const std::string &path() const { return path_; }
    Journal journal;
    bool in_use() const override { return !path_.empty(); }

    void refresh() override;
    // Locks the file and takes over what others have written; without a file every session is good. False: it
    // cannot be had, and why was said on standard error. A session that began is ended.
    bool begin() override;
    // Writes what was changed, and unlocks. False: it cannot be written, and why was said.
    bool end() override;
    void record(const JournalEntry &entry) override { journal.record(entry); }
    const std::string &error() const override { return error_; } // of the latest sessions since one was good

private:
    bool lock();
    void unlock() const;
    bool read();
    bool write(const std::string &text);
    void hold(int file);
    bool fail(const std::string &why);

    Simulator &simulator_;
    std::string path_, error_, scene_error_;
    int lock_ = -1;      // of the session that is open, or was
    int held_ = -1;      // what `seen_` is of stays open: its number is not given to another file meanwhile
    bool known_ = false; // `seen_` and `text_` are of the file as it is here
    struct stat seen_ = {};
    std::string text_;
};

} // namespace cimsim

#endif
