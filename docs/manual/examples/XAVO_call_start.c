/* Lists the jobs of three users at once, each call with a deadline of two seconds. */
#include <poll.h>
#include <stdio.h>
#include <XAVO_companion.h>

enum { USERS = 3 };

int main(void) {
    static const char *const users[USERS] = {"root", "operator", "guest"};
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    XAVO_Call *calls[USERS];
    XAVO_Answer answer;
    for (int i = 0; i < USERS; ++i) {
        const XAVO_Request request = {.operation = XAVO_OP_LIST_JOBS, .deadline_ms = 2000, .user = users[i]};
        calls[i] = XAVO_call_start(pool, &request, &answer);
        if (calls[i] == NULL) {
            fprintf(stderr, "%s: %s\n", users[i], XAVO_kind_name(answer.kind));
            XAVO_answer_free(&answer);
        }
    }
    for (int i = 0; i < USERS; ++i) {
        struct pollfd ready = {XAVO_call_descriptor(calls[i]), POLLIN, 0};
        while (calls[i] != NULL && XAVO_call_collect(calls[i], &answer) == 0)
            poll(&ready, 1, -1); /* an event loop would wait for all descriptors at once */
        if (calls[i] != NULL) {
            printf("%s: %s, %zu jobs\n", users[i], XAVO_code_name(answer.code), answer.job_count);
            XAVO_answer_free(&answer);
        }
        XAVO_call_free(calls[i]);
    }
    XAVO_pool_free(pool);
    return 0;
}
