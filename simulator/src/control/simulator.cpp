// simulator.cpp - the simulator's life: what it finds when the library is loaded, and its end.
#include "control/process.h"

#include "control/scene.h"
#include "value/text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace cimsim {

namespace {

// Never destroyed: threads that still run while the process ends find a simulator that works.
alignas(Process) unsigned char room[sizeof(Process)];

const std::string refuse = "refuse=";

std::vector<std::string> words_of(const std::string &scene) {
    std::vector<std::string> words;
    std::istringstream text(scene);
    for (std::string word; std::getline(text, word, ',');)
        words.push_back(word);
    return words;
}

bool is_known(const std::string &word) {
    return word.empty() || word == "lockdown" || word == "unreachable" || word == "empty" ||
           word.compare(0, refuse.size(), refuse) == 0;
}

void apply_words(const std::vector<std::string> &words) {
    if (std::count(words.begin(), words.end(), "empty") > 0) // wherever it stands
        forget_scene(sim);
    for (const std::string &word : words) {
        if (!is_known(word))
            std::fprintf(stderr, "cimsim: CIMSIM_SCENE: unknown word \"%s\"\n", word.c_str());
        else if (word == "lockdown")
            sim.controller.lockdown = true;
        else if (word == "unreachable")
            sim.broker.reachable = false;
        else if (word.size() >= refuse.size())
            sim.broker.refused.insert(word.substr(refuse.size()));
    }
}

// Returns what is wrong with the file; empty when nothing is.
std::string apply_file(const std::string &path) {
    std::string text;
    struct stat ignored;
    if (!read_whole(path, &text, &ignored, nullptr))
        return path + ": " + std::strerror(errno);
    try {
        apply_scene(sim, text, false);
    } catch (const Mistake &mistake) {
        return path + ":" + std::to_string(mistake.line) + ": " + mistake.what();
    }
    return {};
}

bool read_scene() {
    sim.controller.load_demo();
    const char *given = std::getenv("CIMSIM_SCENE");
    const std::string scene = given ? given : "";
    const std::vector<std::string> words = words_of(scene);
    if (std::all_of(words.begin(), words.end(), is_known) ||
        (scene.find('/') == std::string::npos && access(scene.c_str(), F_OK) != 0))
        apply_words(words);
    else
        process.state.set_scene_error(apply_file(scene));
    process.state.use(std::getenv("CIMSIM_STATE"));
    process.from_environment = !scene.empty() || process.state.in_use();
    return true;
}

// As new, with no memory kept; assignment would keep the room of what is emptied.
template <class Part>
void renew(Part &part) {
    part.~Part();
    new (&part) Part;
}

// What the process did not leak itself is freed, so that a leak checker reports only the program's own.
__attribute__((destructor)) void unload() {
    std::lock_guard<std::mutex> lock(sim.lock);
    renew(sim.controller);
    renew(sim.broker);
    renew(sim.recorder);
    forget_thread();
    shrink_quarantine(0);
}

} // namespace

Process &process = *new (room) Process;
Simulator &sim = process.simulator;
[[maybe_unused]] static const bool scene_is_set = read_scene();

void Process::leave_environment() {
    if (!std::exchange(from_environment, false))
        return;
    const bool dead = simulator.broker.generation != simulator.connected;
    state.use(nullptr);
    state.set_scene_error({});
    forget_scene(simulator);
    simulator.controller.load_demo();
    simulator.recorder.faults.clear();
    controller_replaced(dead);
}

void Process::controller_replaced(bool dead) {
    simulator.connected = simulator.broker.generation - (dead ? 1 : 0);
    ++simulator.resets;
    simulator.time_changed.notify_all();
}

} // namespace cimsim
