// scene.h - the controller as text: what a scene and a state say of it.
#ifndef CIMSIM_SCENE_H
#define CIMSIM_SCENE_H

#include "client/simulator.h"

#include <string>

namespace cimsim {

// Applies the statements of a text to the controller, the broker and the planned faults. Throws Mistake; the
// statements before the mistake stay applied.
void apply_scene(Simulator &simulator, const std::string &text);

// Forgets what a state has.
void forget_scene(Simulator &simulator);

} // namespace cimsim

#endif
