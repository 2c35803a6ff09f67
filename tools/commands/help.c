/* help.c - the command help, and the option of that name, from the tables of commands and options. */
#include "write.h"

#include "../xavoctl.h"

static const struct {
    enum status status;
    const char *meaning;
} statuses[] = {
    {STATUS_DONE, "done"},
    {STATUS_FAILED, "refused, or failed (an unreachable share and an unknown job to delete are refusals)"},
    {STATUS_USAGE, "wrong use"},
    {STATUS_CONNECTION,
     "no broker answers, the connection to it was lost, or no client library is installed"},
    {STATUS_NOT_FOUND, "job, wait, instances: there is no such job or class"},
    {STATUS_JOB, "the job that was waited for failed, or is gone"},
    {STATUS_DEADLINE, "the time of --timeout is over"},
    {STATUS_OUTPUT, "the output cannot be written, or memory is exhausted"},
    {STATUS_INTERRUPTED, "interrupted (Ctrl-C); the job goes on"},
};

/* "--name VALUE", and its letter before it. */
static void write_option(FILE *out, const struct option_row *option) {
    char text[64];
    (void)snprintf(text, sizeof text, "%s%c%s--%s%s%s", option->letter ? "-" : "",
                   option->letter ? option->letter : ' ', option->letter ? ", " : "   ", option->name,
                   option->value ? " " : "", option->value ? option->value : "");
    (void)fprintf(out, "  %-31s %s", text, option->help);
    if ((option->kind == TEXT || option->kind == SECRET_FILE) && option->size > 0)
        (void)fprintf(out, ", at most %zu bytes", option->size - 1);
    (void)fprintf(out, "%s\n", option->required ? " (required)" : "");
}

static void write_options(FILE *out, const struct command *command, bool global) {
    bool any = false;
    for (const struct option_row *row = NULL; (row = next_option(command, row)) != NULL;) {
        if (is_global(row) != global)
            continue;
        if (!any)
            (void)fputs(global ? "\nWith every command, before or after it:\n" : "\nOptions:\n", out);
        any = true;
        write_option(out, row);
    }
}

static void write_overview(FILE *out) {
    (void)fputs("usage: xavoctl COMMAND [ARGUMENT...] [OPTION...]\n\nCommands:\n", out);
    for (const struct command *const *command = commands; *command != NULL; ++command)
        (void)fprintf(out, "  %-11s %-10s %s\n", (*command)->name, (*command)->arguments,
                      (*command)->summary);
    write_options(out, &help_command, true);
    (void)fputs("\nExit status:\n", out);
    for (size_t i = 0; i < sizeof statuses / sizeof *statuses; ++i)
        (void)fprintf(out, "  %3d  %s\n", (int)statuses[i].status, statuses[i].meaning);
    (void)fputs("\nxavoctl help COMMAND explains a command.\n", out);
}

static void write_command(FILE *out, const struct command *command) {
    const bool has_options = !is_global(next_option(command, NULL));
    (void)fprintf(out, "usage: xavoctl %s%s%s%s\n\n%s: %s.\n", command->name, *command->arguments ? " " : "",
                  command->arguments, has_options ? " [OPTION...]" : "", command->name, command->summary);
    if (command->details != NULL)
        (void)fprintf(out, "%s\n", command->details);
    write_options(out, command, false);
    write_options(out, command, true);
}

static void write_help(FILE *out, const struct run *run) {
    if (run->request.version)
        (void)fprintf(out, "xavoctl %s\n", XAVOCTL_VERSION);
    else if (run->request.explained != NULL)
        write_command(out, run->request.explained);
    else
        write_overview(out);
}

static void check(struct request *request) {
    if (request->argument_count == 0)
        return;
    request->explained = find_command(request->arguments[0]);
    if (request->explained == NULL)
        complain_of_command(request, request->arguments[0]);
}

static void print(struct run *run) { write_help(stdout, run); }

static void to_json(struct run *run, struct json_object *document) { set_written(document, run, write_help); }

const struct command help_command = {
    .name = "help",
    .arguments = "[COMMAND]",
    .summary = "explain a command",
    .most = 1,
    .check = check,
    .print = print,
    .to_json = to_json,
};
