/* Calls a method for which libxavo has no function. */
#include <XAVO.h>

/* Calls a method of the instance `path`; 1 if it returned 0, else 0. Does not free its arguments. */
int call_method(XAVO_Proxy *sp, CMPIObjectPath *path, const char *method, CMPIArgs *in, CMPIArgs *out) {
    XAVO_ErrorCode ec;
    CMPIStatus status = {CMPI_RC_OK, NULL};
    XAVO_lock(sp);
    CMPIData returned = sp->client->ft->invokeMethod(sp->client, path, method, in, out, &status);
    XAVO_unlock(sp);
    if (status.msg != NULL)
        status.msg->ft->release(status.msg);
    ec = XAVO_translate_error_code(status.rc);
    CMPIUint32 code = 0;
    if (ec == XAVO_NO_ERROR)
        code = XAVO_CMPIData_to_uint32(&ec, &returned);
    if (code != 0)
        XAVO_log_MessageID(out);
    XAVO_free_CMPIData_value(&returned);
    return ec == XAVO_NO_ERROR && code == 0;
}
