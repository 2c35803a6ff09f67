// admission.h - what every call through a handle begins with: its error-code pointer, its handle.
#ifndef XAVO_ADMISSION_H
#define XAVO_ADMISSION_H

#include <XAVO.h>

namespace xavo {

// Judges the two arguments that every call has and sets the error code accordingly. True: go on. False:
// the call is over, unless a temporary handle came back, with which it is to be made again.
bool judge_handle(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *operation, XAVO_Proxy **temporary);

// True: the operation goes on with its own checks. False: it is over and returns; `again`, which is the
// same operation with the handle it is given, may have run.
template <typename Again>
bool admit(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *operation, Again again) {
    XAVO_Proxy *temporary = nullptr;
    if (judge_handle(sp, errorcodep, operation, &temporary))
        return true;
    if (temporary != nullptr) {
        again(temporary);
        XAVO_free(temporary);
    }
    return false;
}

} // namespace xavo

#endif
