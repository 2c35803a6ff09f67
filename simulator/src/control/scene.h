// scene.h - applies a scene or the text of a state to the controller.
#ifndef CIMSIM_SCENE_H
#define CIMSIM_SCENE_H

#include "client/simulator.h"

#include <string>

namespace cimsim {

// Applies the statements of a text to the controller, the broker and the planned faults. Throws
// StatementError if one is not valid; those before it stay applied.
void apply_scene(Simulator &simulator, const std::string &text);

// Resets everything that a state contains, to an empty controller.
void clear_scene(Simulator &simulator);

} // namespace cimsim

#endif
