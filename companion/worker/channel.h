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

// Sets the highest level of the lines that are sent: TAG_LEVEL of a request.
void set_log_level(uint32_t level);

// Returns the number of lines that were dropped since the last call.
uint32_t take_lost_lines();

// catch_error_line: the text of the next error line is kept. take_error_line: returns that text, which the
// caller frees with free; NULL if there was none.
void catch_error_line();
char *take_error_line();

} // namespace xavo_worker

#endif
