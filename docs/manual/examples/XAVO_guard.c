/* Deletes jobs on one handle, and is not killed when the broker is restarted meanwhile. */
#include <XAVO_companion.h>

int main(int argc, char **argv) {
    XAVO_ErrorCode ec = XAVO_NO_ERROR;
    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL || XAVO_guard(sp) != XAVO_NO_ERROR) {
        if (sp != NULL)
            XAVO_free(sp);
        return 1;
    }
    for (int i = 1; i < argc && ec == XAVO_NO_ERROR; ++i) {
        XAVO_invoke_DeleteJobQueue(sp, &ec, argv[i]);
        printf("%s: %s\n", argv[i], XAVO_EC_to_string(ec));
    }
    XAVO_free(sp); /* its guard, too */
    return ec != XAVO_NO_ERROR;
}
