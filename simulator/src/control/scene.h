// scene.h - the controller as text: what a scene and a state say of it.
#ifndef CIMSIM_SCENE_H
#define CIMSIM_SCENE_H

#include "client/simulator.h"

#include <string>

namespace cimsim {

// Makes the controller, the broker and the plans what a text says, statement by statement; one that lasts
// holds no plans. Throws Mistake; what stands before the mistake is done then.
void apply_scene(Simulator &simulator, const std::string &text, bool lasts);

// The controller and the lasting part of the broker, as a text that makes an empty one the same.
std::string scene_text(const Simulator &simulator);

// Forgets what scene_text would write.
void forget_scene(Simulator &simulator);

} // namespace cimsim

#endif
