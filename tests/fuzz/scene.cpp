// scene.cpp - fuzzes scenes: a text is rejected with the number of its wrong line; or it is applied, and a
// state that is written and read again is the same.
#undef NDEBUG // the checks are assertions
#include "control/scene.h"
#include "client/simulator.h"
#include "control/statements.h"
#include "value/statement.h"

#include <algorithm>
#include <cassert>

using namespace cimsim;

namespace {

// Reads all instances that a client can enumerate.
void read_all_instances() {
    std::vector<std::string> names = {job_class, identity_class};
    for (const AddedClass &added : sim.controller.added)
        names.push_back(added.name);
    for (const std::string &name : names)
        for (const Value &instance : find_class(sim.controller, name)->list())
            for (const Item &item : instance.contents->items)
                to_text(item.value);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(data, data + size);
    clear_scene(sim);
    sim.broker = {};
    sim.recorder = {};
    try {
        apply_scene(sim, text);
    } catch (const StatementError &error) {
        const auto ends = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        assert(error.line >= 1 && error.line <= ends + 1);
        return 0;
    }
    read_all_instances();
    const std::string state = state_text(sim);
    clear_scene(sim);
    apply_scene(sim, state);
    assert(state_text(sim) == state);
    return 0;
}
