/* completion.c - the command completion. */
#include "write.h"

#include "../command.h"

#include <string.h>

static void write_commands(FILE *out) {
    for (const struct command *const *command = commands; *command != NULL; ++command)
        (void)fprintf(out, "%s ", (*command)->name);
}

static void write_options(FILE *out, const struct command *command) {
    for (const struct option_row *row = NULL; (row = next_option(command, row)) != NULL;)
        (void)fprintf(out, "--%s ", row->name);
}

/* As patterns of a case; a name that several commands have may come more than once. */
static void write_options_with_value(FILE *out) {
    const char *separator = "";
    for (const struct command *const *command = commands; *command != NULL; ++command)
        for (const struct option_row *row = NULL; (row = next_option(*command, row)) != NULL;)
            if (row->value != NULL && (!is_global(row) || *command == &help_command)) {
                (void)fprintf(out, "%s--%s", separator, row->name);
                separator = " | ";
            }
}

static void write_completion(FILE *out, const struct run *run) {
    (void)run;
    (void)fputs("# bash completion for xavoctl; to use it: source <(xavoctl completion bash)\n"
                "_xavoctl() {\n"
                "    local word command='' skip='' words='' i\n"
                "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
                "        word=${COMP_WORDS[i]}\n"
                "        if [[ $skip ]]; then\n"
                "            [[ $word == '=' ]] || skip=''\n" /* bash makes three words of --user=x */
                "            continue\n"
                "        fi\n"
                "        case $word in\n        ",
                out);
    write_options_with_value(out);
    (void)fputs(") skip=$word ;;\n"
                "        -*) ;;\n"
                "        *) [[ $command ]] || command=$word ;;\n"
                "        esac\n"
                "    done\n"
                "    COMPREPLY=()\n"
                "    word=${COMP_WORDS[COMP_CWORD]}\n"
                "    [[ $word != '=' ]] || word=''\n"
                "    case $skip in\n"
                "    '') ;;\n"
                "    *-file)\n"
                "        compopt -o filenames 2>/dev/null\n"
                "        mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
                "        return\n"
                "        ;;\n"
                "    *) return ;;\n"
                "    esac\n"
                "    case $command in\n"
                "    '') words='",
                out);
    write_commands(out);
    write_options(out, &help_command);
    (void)fputs("' ;;\n", out);
    for (const struct command *const *command = commands; *command != NULL; ++command) {
        (void)fprintf(out, "    %s) words='", (*command)->name);
        write_options(out, *command);
        if (*command == &completion_command)
            (void)fputs("bash", out);
        if (*command == &help_command)
            write_commands(out);
        (void)fputs("' ;;\n", out);
    }
    (void)fputs("    esac\n"
                "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
                "}\n"
                "complete -F _xavoctl xavoctl\n",
                out);
}

static void check(struct request *request) {
    if (strcmp(request->arguments[0], "bash") != 0)
        complain(request, "there is a completion for bash only");
}

static void print(struct run *run) { write_completion(stdout, run); }

static void to_json(struct run *run, struct json_object *document) {
    set_written(document, run, write_completion);
}

const struct command completion_command = {
    .name = "completion",
    .arguments = "bash",
    .summary = "print the completion for a shell",
    .details = "To use it: source <(xavoctl completion bash)",
    .examples = "  source <(xavoctl completion bash)\n",
    .least = 1,
    .most = 1,
    .check = check,
    .print = print,
    .to_json = to_json,
};
