/* help.c - help, the manual page and the completion, from the tables of commands and options; the list of
 * error codes from the library's own. */
#include "output.h"
#include "tell.h"
#include "xavoctl.h"

#include <stdlib.h>
#include <string.h>

static const struct {
    enum status status;
    const char *meaning;
} statuses[] = {
    {STATUS_DONE, "done"},
    {STATUS_FAILED, "refused, or failed (an unreachable share and an unknown job to delete are refusals)"},
    {STATUS_USAGE, "wrong use"},
    {STATUS_CONNECTION, "no broker answers, or the connection to it was lost"},
    {STATUS_NOT_FOUND, "job, wait, instances: there is no such job or class"},
    {STATUS_JOB, "the job that was waited for failed, or is gone"},
    {STATUS_DEADLINE, "the time of --timeout is over"},
    {STATUS_OUTPUT, "the output cannot be written"},
    {STATUS_INTERRUPTED, "interrupted (Ctrl-C); the job goes on"},
};

static const char about[] =
    "xavoctl asks the management services of this controller: its jobs, backups, restores, network shares "
    "and "
    "software. What it is told goes to standard output, what goes wrong to standard error. No option carries "
    "a "
    "secret: passwords and passphrases are read from a file, from an open descriptor or from the terminal.";

/* Standard output; or memory, from which the text goes into the document. */
static FILE *out;

static void put(const char *line) { fprintf(out, "%s\n", line); }

/* ---- Pieces ---------------------------------------------------------------------------------------------
 */

static bool is_global(const struct option_row *option) {
    return takes(find_command("help"), option) && takes(find_command("jobs"), option);
}

/* "--name VALUE", and its letter before it; `limit` is the most bytes it takes, 0: any number. */
static void name_option(char *text, size_t size, const struct option_row *option) {
    (void)snprintf(text, size, "%s%c%s--%s%s%s", option->letter ? "-" : "",
                   option->letter ? option->letter : ' ', option->letter ? ", " : "   ", option->name,
                   option->value ? " " : "", option->value ? option->value : "");
}

static size_t limit_of(const struct option_row *option) {
    return option->kind == TEXT || option->kind == SECRET_FILE ? option->place.size : 0;
}

static void put_option(const struct option_row *option) {
    char text[64];
    name_option(text, sizeof text, option);
    fprintf(out, "  %-31s %s", text, option->help);
    if (limit_of(option) > 0)
        fprintf(out, ", at most %zu bytes", limit_of(option) - 1);
    fprintf(out, "%s\n", option->required ? " (required)" : "");
}

static void put_options(const struct command *command, bool global) {
    fprintf(out, global ? "\nWith every command, before or after it:\n" : "\nOptions:\n");
    for (size_t i = 0; i < option_count; ++i)
        if (is_global(&options[i]) == global && takes(command, &options[i]))
            put_option(&options[i]);
}

static bool has_options(const struct command *command) {
    for (size_t i = 0; i < option_count; ++i)
        if (!is_global(&options[i]) && takes(command, &options[i]))
            return true;
    return false;
}

/* ---- Help -----------------------------------------------------------------------------------------------
 */

static void put_overview(void) {
    put("usage: xavoctl COMMAND [ARGUMENT...] [OPTION...]\n\nCommands:");
    for (const struct command *command = commands; command < commands + command_count; ++command)
        fprintf(out, "  %-11s %-10s %s\n", command->name, command->arguments, command->summary);
    put_options(find_command("jobs"), true);
    put("\nExit status:");
    for (size_t i = 0; i < sizeof statuses / sizeof *statuses; ++i)
        fprintf(out, "  %3d  %s\n", (int)statuses[i].status, statuses[i].meaning);
    put("\nxavoctl help COMMAND explains a command.");
}

static void put_command(const struct command *command) {
    const bool has = has_options(command);
    fprintf(out, "usage: xavoctl %s%s%s%s\n\n%s: %s.\n", command->name, *command->arguments ? " " : "",
            command->arguments, has ? " [OPTION...]" : "", command->name, command->summary);
    if (command->details != NULL)
        fprintf(out, "%s\n", command->details);
    if (has)
        put_options(command, false);
    put_options(command, true);
}

/* ---- The manual page ------------------------------------------------------------------------------------
 */

/* A text as the page's source has it, in short lines: a dash is a minus, a backslash is quoted. */
static void put_roff_text(const char *text) {
    int column = 0;
    for (; *text != '\0'; ++text, ++column) {
        if (*text == '-' || *text == '\\')
            fprintf(out, "\\%c", *text == '-' ? '-' : 'e');
        else if (*text == ' ' && column + (int)strcspn(text + 1, " ") > 72)
            column = -1, (void)fputc('\n', out);
        else
            (void)fputc(*text, out);
    }
}

/* The same as a line, which must not look like a request. */
static void put_roff(const char *text) {
    if (*text == '.' || *text == '\'')
        (void)fputs("\\&", out);
    put_roff_text(text);
    (void)fputc('\n', out);
}

static void put_roff_item(const char *tag, const char *text) {
    put(".TP");
    (void)fputs("\\fB", out);
    put_roff_text(tag + strspn(tag, " "));
    put("\\fR");
    put_roff(text);
}

static void put_roff_options(const struct command *command, bool global) {
    for (size_t i = 0; i < option_count; ++i) {
        if (is_global(&options[i]) != global || !takes(command, &options[i]))
            continue;
        char tag[64], text[256];
        name_option(tag, sizeof tag, &options[i]);
        const size_t limit = limit_of(&options[i]);
        (void)snprintf(text, sizeof text, limit ? "%s, at most %zu bytes%s." : "%s%.0zu%s.", options[i].help,
                       limit ? limit - 1 : 0, options[i].required ? " (required)" : "");
        put_roff_item(tag, text);
    }
}

static void put_manual(void) {
    fprintf(out,
            ".TH XAVOCTL 1 \"\" \"libxavo %s\" \"Management services of a controller\"\n.SH NAME\nxavoctl "
            "\\- the services of a controller at a prompt\n"
            ".SH SYNOPSIS\n\\fBxavoctl\\fR \\fICOMMAND\\fR [\\fIARGUMENT\\fR...] [\\fIOPTION\\fR...]\n"
            ".SH DESCRIPTION\n",
            XAVOCTL_VERSION);
    put_roff(about);
    put(".SH COMMANDS");
    for (const struct command *command = commands; command < commands + command_count; ++command) {
        char tag[64], text[512];
        (void)snprintf(tag, sizeof tag, "%s %s", command->name, command->arguments);
        (void)snprintf(text, sizeof text, "%s.%s%s", command->summary, command->details ? " " : "",
                       command->details ? command->details : "");
        put_roff_item(tag, text);
        if (has_options(command)) {
            put(".RS");
            put_roff_options(command, false);
            put(".RE");
        }
    }
    put(".SH OPTIONS\nWith every command, before or after it:");
    put_roff_options(find_command("jobs"), true);
    put(".SH EXIT STATUS");
    for (size_t i = 0; i < sizeof statuses / sizeof *statuses; ++i) {
        char tag[8];
        (void)snprintf(tag, sizeof tag, "%d", (int)statuses[i].status);
        put_roff_item(tag, statuses[i].meaning);
    }
    put(".SH OUTPUT");
    put_roff(output_notes);
    put(".SH ENVIRONMENT");
    put_roff_item("NO_COLOR", "Not empty: no colours on a terminal.");
    put(".SH SEE ALSO\n\\fBxavo\\fR(7)");
}

static void write_help(struct run *run) {
    const struct request *request = &run->request;
    const char *name =
        request->help ? (request->command ? request->command->name : NULL) : request->arguments[0];
    if (request->version)
        fprintf(out, "xavoctl %s\n", XAVOCTL_VERSION);
    else if (request->manual)
        put_manual();
    else if (name == NULL)
        put_overview();
    else if (find_command(name) != NULL)
        put_command(find_command(name));
    else
        complain(&run->request, "there is no command %s", name);
}

/* ---- Completion -----------------------------------------------------------------------------------------
 */

static void write_completion(struct run *run) {
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
    const char *separator = "";
    for (size_t i = 0; i < option_count; ++i)
        if (options[i].value != NULL) {
            fprintf(out, "%s--%s", separator, options[i].name);
            separator = " | ";
        }
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
    for (size_t i = 0; i < command_count; ++i)
        fprintf(out, "%s ", commands[i].name);
    for (size_t i = 0; i < option_count; ++i)
        if (is_global(&options[i]))
            fprintf(out, "--%s ", options[i].name);
    put("' ;;");
    for (const struct command *command = commands; command < commands + command_count; ++command) {
        fprintf(out, "    %s) words='", command->name);
        for (size_t i = 0; i < option_count; ++i)
            if (takes(command, &options[i]))
                fprintf(out, "--%s ", options[i].name);
        if (strcmp(command->name, "completion") == 0)
            (void)fputs("bash", out);
        for (size_t i = 0; strcmp(command->name, "help") == 0 && i < command_count; ++i)
            fprintf(out, "%s ", commands[i].name);
        put("' ;;");
    }
    put("    esac\n"
        "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
        "}\n"
        "complete -F _xavoctl xavoctl");
}

/* Runs a writer with `out` where its text belongs. */
static void tell_text(struct run *run, void (*write)(struct run *)) {
    char *text = NULL;
    size_t size;
    out = run->request.json ? open_memstream(&text, &size) : stdout;
    if (out == NULL) {
        complain(&run->request, "out of memory");
        return;
    }
    write(run);
    if (run->request.json) {
        (void)fclose(out);
        json_object_object_add(run->document, "text", text ? json_object_new_string(text) : NULL);
        free(text);
    }
}

void tell_help(struct run *run) { tell_text(run, write_help); }

void tell_completion(struct run *run) { tell_text(run, write_completion); }

/* ---- Error codes ----------------------------------------------------------------------------------------
 */

void tell_errors(struct run *run) {
#define ROW(constant, value, name, meaning) {value, name, meaning},
    static const struct {
        int code;
        const char *name, *meaning;
    } codes[] = {XAVO_ERROR_CODES(ROW)};
#undef ROW
    struct json_object *list = json_object_new_array();
    json_object_object_add(run->document, "errors", list);
    if (!run->request.json)
        printf("%-5s %-26s %s\n", "CODE", "NAME", "MEANING");
    for (size_t i = 0; i < sizeof codes / sizeof *codes; ++i) {
        struct json_object *entry = json_object_new_object();
        json_object_object_add(entry, "code", json_object_new_int(codes[i].code));
        json_object_object_add(entry, "name", json_object_new_string(codes[i].name));
        json_object_object_add(entry, "meaning", json_object_new_string(codes[i].meaning));
        json_object_array_add(list, entry);
        if (!run->request.json)
            printf("%-5d %-26s %s\n", codes[i].code, codes[i].name, codes[i].meaning);
    }
}
