// channel.h - frames from the worker to its program.
#ifndef XAVO_WORKER_CHANNEL_H
#define XAVO_WORKER_CHANNEL_H

#include "protocol.h"

namespace xavo_worker {

// Completes a frame and sends it, waiting as long as the socket is full. False: it cannot be sent.
bool send_frame(xavo_companion::Writer *frame);

// HELLO; or FAILED with an errno (or 0) and a text.
bool send_hello();
void send_failed(int error, const char *message);

// Lines of the log above this level are not sent: TAG_LEVEL of a request.
void set_log_level(uint32_t level);

// How many lines were dropped since the last call.
uint32_t take_lost_lines();

// Keeps the text of the first error line that is written from now on, until it is taken: a new string, freed
// with free; NULL when there was none.
void catch_error_line();
char *take_error_line();

} // namespace xavo_worker

#endif
