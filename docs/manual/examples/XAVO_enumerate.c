/* Lists the software identities of the controller. */
#include <XAVO.h>

int main(void) {
    XAVO_ErrorCode ec;
    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL)
        return 1;
    CMPIEnumeration *found = XAVO_enumerate(sp, &ec, "root/velk", "VELK_SoftwareIdentity");
    while (found != NULL && found->ft->hasNext(found, NULL)) {
        CMPIData element = found->ft->getNext(found, NULL);
        if (element.state != CMPI_goodValue || element.type != CMPI_instance || element.value.inst == NULL)
            continue;
        char *id = XAVO_property_to_ntstring(sp, &ec, element.value.inst, "InstanceID");
        if (id != NULL)
            puts(id);
        XAVO_free_ntstring(id);
    }
    if (found != NULL)
        found->ft->release(found); /* before the handle is freed */
    XAVO_free(sp);
    return ec != XAVO_NO_ERROR;
}
