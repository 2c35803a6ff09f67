// watcher.h - the thread that ends the worker with its program, also while the client library hangs.
#ifndef XAVO_WORKER_WATCHER_H
#define XAVO_WORKER_WATCHER_H

namespace xavo_worker {

// Starts the thread. 0, or an errno. When the socket hangs up or the program ends, the worker's process group
// is killed: at once during a call, and otherwise after a grace period in which the worker may end by itself.
int start_watcher();

// A call begins, or has ended. A worker starts as if in a call. begin_call returns false if the worker is to
// end: then no call may begin.
bool begin_call();
void end_call();

// Ends the thread, and waits for it.
void stop_watcher();

} // namespace xavo_worker

#endif
