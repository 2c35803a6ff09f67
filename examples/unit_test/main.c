/* main.c - the program: reads the arguments and sets the exit status. */
#include "update.h"
#include <stdlib.h>
#include <unistd.h>

static void wait_seconds(unsigned int seconds) {
    while (seconds > 0)
        seconds = sleep(seconds);
}

int main(int argc, char **argv) {
    char *end = NULL;
    const unsigned long limit = argc == 4 ? strtoul(argv[3], &end, 10) : 0;
    if (end == NULL || end == argv[3] || *end != '\0' || limit > 86400) {
        fprintf(stderr,
                "usage: %s URI IDENTITY SECONDS\nwaits at most SECONDS, 86400 or less, for the job to end\n",
                argv[0]);
        return 2;
    }
    alarm((unsigned int)limit + 60); /* ends the program if the broker hangs: no call has a time-out */
    return update_software(stdout, argv[1], argv[2], (unsigned int)limit, wait_seconds) == UPDATE_DONE ? 0
                                                                                                       : 1;
}
