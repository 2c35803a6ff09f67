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
    {STATUS_JOB, "the job that was waited for failed, is gone, or stands at 100% with an unknown status"},
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

static const char notes[] =
    "\nWhat arguments are:\n"
    "  ID          identifier of a job: xavoctl jobs lists them; a command that starts a job prints its identifier\n"
    "  --target    identifier of software to install: xavoctl software lists them\n"
    "  TYPE        of reboot: a number, which the service judges\n"
    "  TIME        sent unchanged; many controllers take NOW or yyyymmddhhmmss\n"
    "  S           status of a job: New, Scheduled, Running, Completed, Failed, or another of the controller\n"
    "\nSecrets:\n"
    "  --...-file    FILE has the secret as its only line; - is standard input\n"
    "  --...-fd      the same from a descriptor that a shell has opened: --password-fd 3 3<FILE\n"
    "  --...-prompt  asked for on the terminal, as is each password whose user is given without one\n"
    "\nA file with options (--options-file):\n"
    "  NAME=VALUE  a long option; VALUE is the rest of the line. The command line replaces it\n"
    "  NAME        a long option without a value\n"
    "  # TEXT      not read, nor are empty lines\n";

static void write_overview(FILE *out) {
    (void)fputs("usage: xavoctl COMMAND [ARGUMENT...] [OPTION...]\n\nCommands:\n", out);
    for (const struct command *const *command = commands; *command != NULL; ++command)
        (void)fprintf(out, "  %-11s %-10s %s\n", (*command)->name, (*command)->arguments,
                      (*command)->summary);
    write_options(out, &help_command, true);
    (void)fputs(notes, out);
    (void)fputs("\nExit status:\n", out);
    for (size_t i = 0; i < sizeof statuses / sizeof *statuses; ++i)
        (void)fprintf(out, "  %3d  %s\n", (int)statuses[i].status, statuses[i].meaning);
    (void)fputs(
        "\nxavoctl help COMMAND explains a command, with examples. The name of an option can be cut short as long "
        "as it stands for one option.\n",
        out);
}

static void write_command(FILE *out, const struct command *command) {
    const bool has_options = !is_global(next_option(command, NULL));
    (void)fprintf(out, "usage: xavoctl %s%s%s%s\n\n%s: %s.\n", command->name, *command->arguments ? " " : "",
                  command->arguments, has_options ? " [OPTION...]" : "", command->name, command->summary);
    if (command->details != NULL)
        (void)fprintf(out, "%s\n", command->details);
    write_options(out, command, false);
    (void)fprintf(out, "%s\nExamples:\n%s", command->notes != NULL ? command->notes : "", command->examples);
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
    .examples = "  xavoctl help backup\n",
    .most = 1,
    .check = check,
    .print = print,
    .to_json = to_json,
};
