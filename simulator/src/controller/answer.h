// answer.h - an answer of the controller: status, return value and outputs.
#ifndef CIMSIM_ANSWER_H
#define CIMSIM_ANSWER_H

#include "value/value.h"

#include <optional>

namespace cimsim {

struct Answer {
    CMPIrc rc = CMPI_RC_OK;
    std::optional<std::string> message;
    Value result;
    std::vector<Item> outputs;
};

// An answer without a value, with this status.
Answer failed(CMPIrc rc, const std::string &message);

} // namespace cimsim

#endif
