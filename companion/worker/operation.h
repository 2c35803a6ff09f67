// operation.h - a request carried out, and its answer.
#ifndef XAVO_WORKER_OPERATION_H
#define XAVO_WORKER_OPERATION_H

#include "broker.h"

namespace xavo_worker {

// Carries a request out and writes its answer into an empty ANSWER frame. False: there is none to give, since
// the program has ended the call or its deadline has passed.
bool answer_request(Broker *broker, xavo_companion::ReceivedRequest *received, xavo_companion::Shared *shared,
                    xavo_companion::Writer *answer);

} // namespace xavo_worker

#endif
