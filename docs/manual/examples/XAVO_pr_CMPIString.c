/* Logs an object path as a trace line. */
#include <XAVO.h>

int main(void) {
    XAVO_ErrorCode ec;
    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL)
        return 1;
    CMPIObjectPath *path =
        XAVO_build_object_path_key_value(sp, &ec, "root/velk", "VELK_LifecycleJob", "InstanceID", "JID_1");
    XAVO_pr_CMPIObjectPath(0, "a job", path);
    if (path != NULL)
        path->ft->release(path);
    XAVO_free(sp);
    return ec != XAVO_NO_ERROR;
}
