// process.cpp - sets up the simulator from the environment when the library is loaded, attaches it to another
// controller, and frees it when the process ends.
#include "control/process.h"

#include "control/scene.h"
#include "value/statement.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <new>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace cimsim {

namespace {

// Never destroyed, so that threads that still run while the process ends can use the simulator.
alignas(Process) unsigned char storage[sizeof(Process)];

const std::string refuse = "refuse=";

std::vector<std::string> switches_of(const std::string &scene) {
    std::vector<std::string> switches;
    std::istringstream text(scene);
    for (std::string word; std::getline(text, word, ',');)
        switches.push_back(word);
    return switches;
}

bool is_known(const std::string &word) {
    return word.empty() || word == "lockdown" || word == "unreachable" || word == "empty" ||
           word.compare(0, refuse.size(), refuse) == 0;
}

void apply_switches(const std::vector<std::string> &switches) {
    if (std::count(switches.begin(), switches.end(), "empty") > 0) // first, because it would undo the others
        clear_scene(sim);
    for (const std::string &word : switches) {
        if (!is_known(word))
            std::fprintf(stderr, "cimsim: CIMSIM_SCENE: unknown switch \"%s\"\n", word.c_str());
        else if (word == "lockdown")
            sim.controller.lockdown = true;
        else if (word == "unreachable")
            sim.broker.reachable = false;
        else if (word.size() >= refuse.size())
            sim.broker.refused.insert(word.substr(refuse.size()));
    }
}

// Both apply a scene and return the error; empty if there is none.
std::string apply_text(const std::string &name, const std::string &text) {
    try {
        apply_scene(sim, text);
    } catch (const StatementError &error) {
        return name + ":" + std::to_string(error.line) + ": " + error.what();
    }
    return {};
}

std::string apply_file(const std::string &path) {
    std::string text;
    struct stat ignored;
    return read_whole(path, &text, &ignored, nullptr) ? apply_text(path, text)
                                                      : path + ": " + std::strerror(errno);
}

bool read_scene() {
    sim.controller.load_demo();
    const char *given = std::getenv("CIMSIM_SCENE");
    const std::string scene = given ? given : "";
    const std::vector<std::string> switches = switches_of(scene);
    if (scene.find('\n') != std::string::npos)
        process.state.set_scene_error(apply_text("the text", scene));
    else if (std::all_of(switches.begin(), switches.end(), is_known) ||
             (scene.find('/') == std::string::npos && access(scene.c_str(), F_OK) != 0))
        apply_switches(switches);
    else
        process.state.set_scene_error(apply_file(scene));
    process.state.use(std::getenv("CIMSIM_STATE"));
    process.from_environment = !scene.empty() || process.state.in_use();
    return true;
}

// Makes a part empty and frees its memory; an assignment would keep allocated capacity.
template <class Part>
void free_memory(Part &part) {
    part.~Part();
    new (&part) Part;
}

// Frees the simulator's memory, so that a leak checker reports only leaks of the program.
__attribute__((destructor)) void unload() {
    std::lock_guard<std::mutex> lock(sim.lock);
    process.remove_private_state();
    free_memory(sim.controller);
    free_memory(sim.broker);
    free_memory(sim.recorder);
    free_thread();
    shrink_quarantine(0);
}

} // namespace

Process &process = *new (storage) Process;
Simulator &sim = process.simulator;
[[maybe_unused]] static const bool scene_is_set = read_scene();

void Process::replace_environment_controller() {
    if (!std::exchange(from_environment, false))
        return;
    const bool dead = simulator.broker.generation != simulator.socket_generation;
    attach(nullptr);
    state.set_scene_error({});
    clear_scene(simulator);
    simulator.controller.load_demo();
    controller_replaced(dead);
}

void Process::attach(const char *path) {
    const std::string before = state.path();
    state.use(path);
    if (pools > 0 && state.path() != before) {
        std::fprintf(stderr,
                     "cimsim: a pool of workers exists, and would not use the controller of %s: "
                     "attach the program before it creates the pool\n",
                     state.in_use() ? state.path().c_str() : "this process");
        std::abort();
    }
    unsetenv("CIMSIM_SCENE");
    if (state.in_use())
        setenv("CIMSIM_STATE", state.path().c_str(), 1);
    else
        unsetenv("CIMSIM_STATE");
}

namespace {

// Sets the environment so that workers load the simulator from this library's folder, and no other client
// library.
void set_worker_environment() {
    Dl_info self;
    const char *const given = std::getenv("LD_LIBRARY_PATH");
    std::string path = dladdr(&storage, &self) != 0 ? self.dli_fname : "";
    path = path.substr(0, path.find_last_of('/') + 1);
    if (!path.empty() && (!given || std::string(given).compare(0, path.size(), path) != 0))
        setenv("LD_LIBRARY_PATH", (path + (given && *given ? ":" : "") + (given ? given : "")).c_str(), 1);
    setenv("CIMSIM_ONLY", "1", 1);
}

} // namespace

void Process::pools_changed(int change) {
    if (change > 0)
        set_worker_environment();
    if (change > 0 && !state.in_use()) {
        const char *const given = std::getenv("TMPDIR");
        std::string folder = std::string(given && *given ? given : "/tmp") + "/cimsim-XXXXXX";
        if (!mkdtemp(folder.data())) {
            std::fprintf(stderr, "cimsim: %s: %s\n", folder.c_str(), std::strerror(errno));
            std::abort();
        }
        private_folder = folder;
        folder_creator = getpid();
        from_environment = false;
        attach((folder + "/state").c_str());
        Session session(state); // its end writes the controller
    }
    pools += change;
}

void Process::remove_private_state() const {
    if (private_folder.empty() || folder_creator != getpid())
        return;
    for (const char *name : {"/state", "/state.lock", "/state.new", "/state.journal"})
        unlink((private_folder + name).c_str());
    rmdir(private_folder.c_str());
}

void Process::controller_replaced(bool dead) {
    simulator.socket_generation = simulator.broker.generation - (dead ? 1 : 0);
    ++simulator.resets;
    simulator.time_changed.notify_all();
}

} // namespace cimsim
