/* Checks whether the broker answers requests of a user. Exit status 0: it does. */
#include <XAVO.h>

int main(int argc, char **argv) {
    XAVO_ErrorCode ec = XAVO_UNABLE_TO_OPEN_CONNECTION;
    XAVO_Proxy *sp = XAVO_new_with_uname(argc > 1 ? argv[1] : NULL);
    if (sp != NULL) {
        XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(sp, &ec));
        XAVO_free(sp);
    }
    puts(XAVO_EC_to_string(ec));
    return ec != XAVO_NO_ERROR;
}
