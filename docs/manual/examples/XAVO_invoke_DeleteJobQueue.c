/* Schedules a job to start at the time START, and prints the outcome. */
#include <XAVO.h>

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s JOB START\n", argv[0]);
        return 2;
    }
    char *const jobs[] = {argv[1], NULL};
    XAVO_ErrorCode ec;
    XAVO_invoke_SetupJobQueue(NULL, &ec, argv[2], NULL, jobs);
    printf("%s: %s\n", argv[1], XAVO_EC_to_string(ec));
    return ec != XAVO_NO_ERROR;
}
