// scene.h - the controller as text: what a scene and a state say of it.
#ifndef CIMSIM_SCENE_H
#define CIMSIM_SCENE_H

#include "client/simulator.h"

#include <string>

namespace cimsim {

// Makes the controller, the broker and the plans what a text says, statement by statement; one that lasts
// holds no plans. Throws Mistake; what stands before the mistake is done then.
void apply_scene(Simulator &simulator, const std::string &text, bool lasts);

// Forgets what a state has.
void forget_scene(Simulator &simulator);

} // namespace cimsim

#endif
