// simulator.cpp - the simulator's life: what it finds when the library is loaded, and its end.
#include "simulator.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <sstream>

namespace cimsim {

namespace {

// Never destroyed: threads that still run while the process ends find a simulator that works.
alignas(Simulator) unsigned char room[sizeof(Simulator)];

bool read_scene() {
    const char *scene = std::getenv("CIMSIM_SCENE");
    std::istringstream words(scene ? scene : "");
    bool empty = false;
    for (std::string word; std::getline(words, word, ',');) {
        const std::string refuse = "refuse=";
        if (word == "lockdown")
            sim.controller.lockdown = true;
        else if (word == "unreachable")
            sim.broker.reachable = false;
        else if (word == "empty")
            empty = true;
        else if (word.compare(0, refuse.size(), refuse) == 0)
            sim.broker.refused.insert(word.substr(refuse.size()));
        else if (!word.empty())
            std::fprintf(stderr, "cimsim: CIMSIM_SCENE: unknown word \"%s\"\n", word.c_str());
    }
    if (!empty)
        sim.controller.load_demo();
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
    std::lock_guard<std::mutex> guard(sim.lock);
    renew(sim.controller);
    renew(sim.broker);
    renew(sim.watch);
    forget_thread();
    drain_graveyard(0);
}

} // namespace

Simulator &sim = *new (room) Simulator;
[[maybe_unused]] static const bool scene_is_set = read_scene();

} // namespace cimsim
