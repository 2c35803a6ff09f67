// profile.cpp - part of the worker in builds that measure coverage: a child writes the profile when the
// worker ends.
//
// The library may kill a worker that is about to end by itself. Killed while it writes, the worker would
// leave half a profile, to which no later process could add its own. The child is in a session of its own,
// and nobody kills it.
#include <stdlib.h>
#include <unistd.h>

namespace {

void leave_to_child(int status, void *) {
    if (_Fork() > 0) // fork() would begin the profile again
        _exit(status);
    setsid();
    close_range(STDERR_FILENO + 1, ~0U, 0); // or the program would wait for the end of its socket
}

__attribute__((constructor)) void begin() { on_exit(leave_to_child, nullptr); }

} // namespace
