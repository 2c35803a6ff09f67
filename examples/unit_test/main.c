/* main.c - the program: reads the arguments and sets the exit status. */
#include "update.h"
#include <stdlib.h>
#include <string.h>

int main(int argc, char **argv) {
    XAVO_WaitOptions how;
    char *end = NULL;
    const unsigned long seconds = argc == 4 ? strtoul(argv[3], &end, 10) : 0;
    if (end == NULL || *end != '\0' || seconds == 0 || seconds > 86400) {
        fprintf(stderr, "usage: %s URI IDENTITY SECONDS\neach step ends within SECONDS, from 1 to 86400\n",
                argv[0]);
        return 64;
    }
    memset(&how, 0, sizeof how);
    how.deadline_ms = (unsigned int)seconds * 1000;
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    if (pool == NULL)
        return 71;
    const update_end ended = update_software(stdout, pool, argv[1], argv[2], &how);
    XAVO_pool_free(pool);
    return (int)ended;
}
