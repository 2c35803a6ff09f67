/* Creates a reboot job of the type TYPE, and prints its identifier. */
#include <XAVO.h>

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s TYPE\n", argv[0]);
        return 2;
    }
    XAVO_ErrorCode ec;
    char *job = NULL;
    XAVO_invoke_CreateRebootJob(NULL, &ec, argv[1], &job);
    puts(job != NULL ? job : XAVO_EC_to_string(ec));
    XAVO_free_ntstring(job);
    return ec != XAVO_NO_ERROR;
}
