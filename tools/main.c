/* main.c - xavoctl, the services at a prompt: a run from its command line to its exit status. */
#include "output/output.h"
#include "xavoctl.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* A socket or a file that is opened later must not become standard output. Writing to what was closed fails.
 */
static void keep_standard_descriptors(void) {
    for (int fd = 0; fd < 3; ++fd)
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != fd)
            _exit(STATUS_OUTPUT);
}

/* Reads the secrets, and performs the command. */
static void perform(struct run *run) {
    struct request *request = &run->request;
    if (request->complaint[0] == '\0' && request->command->perform != NULL) {
        if (!read_secrets(run))
            fail(run->outcomes, run->signal != 0 ? XAVO_KIND_CANCELLED : KIND_NO_SECRET, NULL);
        else if (request->complaint[0] == '\0' && open_pool(run))
            request->command->perform(run);
    }
    wipe_secrets(request);
    end_progress(run);
}

/* One outcome, or one for each job. */
static bool make_outcomes(struct run *run) {
    const struct request *request = &run->request;
    const bool many = request->command != NULL && (request->command->flags & MANY_JOBS) != 0;
    run->outcome_count = many && request->argument_count > 1 ? (size_t)request->argument_count : 1;
    run->outcomes = calloc(run->outcome_count, sizeof *run->outcomes);
    return run->outcomes != NULL;
}

static void free_run(struct run *run) {
    for (size_t i = 0; i < run->outcome_count; ++i)
        free_outcome(&run->outcomes[i]);
    free(run->outcomes);
    free(run->planned);
    XAVO_answer_free(&run->answer);
    XAVO_pool_free(run->pool);
    free(run->request.arguments);
    free(run->request.options_text);
}

int main(int argc, char **argv) {
    static struct run run; /* the streams use it until the program has ended */
    keep_standard_descriptors();
    bool ready = catch_signals(&run) && open_streams(&run);
    if (ready) {
        read_command_line(&run.request, argc, argv);
        ready = make_outcomes(&run);
    }
    if (!ready) {
        (void)fprintf(stderr, "xavoctl: %s\n", strerror(errno));
        return STATUS_FAILED;
    }
    run.began = now();
    if (run.request.timeout > 0)
        run.deadline = run.began + run.request.timeout;
    perform(&run);
    if (run.request.complaint[0] != '\0')
        fail(run.outcomes, KIND_WRONG_USE, run.request.complaint);

    const enum status status = print_run(&run) ? status_of_run(&run) : STATUS_OUTPUT;
    free_run(&run);
    if (run.signal != 0) {
        signal(run.signal, SIG_DFL);
        sigprocmask(SIG_SETMASK, &run.inherited, NULL);
        raise(run.signal); /* by which a shell sees that the program was interrupted */
    }
    return (int)status;
}
