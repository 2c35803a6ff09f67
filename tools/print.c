/* print.c - what a run prints at its end: the command's output, and what failed. */
#include "output/json.h"
#include "output/output.h"
#include "xavoctl.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static bool has_failed(const struct outcome *outcome) { return outcome->kind != XAVO_KIND_NONE; }

/* The outcome of the whole: the first that failed. */
static const struct outcome *outcome_of_run(const struct run *run) {
    for (size_t i = 0; i < run->outcome_count; ++i)
        if (has_failed(&run->outcomes[i]))
            return &run->outcomes[i];
    return run->outcomes;
}

enum status status_of_run(const struct run *run) { return kind_of(outcome_of_run(run)->kind)->status; }

/* ---- Documents --------------------------------------------------------------------------------------- */

static bool print_document(struct run *run) {
    struct json_object *document = json_new();
    json_set_number(document, "format", 1); /* that of format-1.schema.json */
    const struct command *command = run->request.command;
    const struct outcome *whole = outcome_of_run(run);
    if (run->request.dry_run && !has_failed(whole)) {
        plan_to_json(run, document);
        return put_document(document);
    }
    if (command != NULL && command->to_json != NULL && whole->kind != KIND_WRONG_USE)
        command->to_json(run, document);
    if (command == NULL || (command->flags & MANY_JOBS) == 0) {
        json_add_job(document, run->outcomes);
    } else if (whole->kind != KIND_WRONG_USE) {
        struct json_object *results = json_array(document, "results");
        for (size_t i = 0; i < run->outcome_count && run->outcomes[i].job_id != NULL; ++i) {
            struct json_object *result = json_new();
            json_add_job(result, &run->outcomes[i]);
            json_add_failure(result, &run->outcomes[i]);
            json_append(results, result);
        }
    }
    json_add_failure(document, whole);
    return put_document(document);
}

/* ---- Failures ---------------------------------------------------------------------------------------- */

/* A word of a command that can be typed again: in quotation marks where a shell would not take it as it is.
 */
static void put_word(const char *word) {
    static const char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.:@/";
    if (*word != '\0' && word[strspn(word, plain)] == '\0') {
        (void)fputs(word, stderr);
        return;
    }
    (void)fputs("$'", stderr); /* where \n, \xff and \u202e mean what they stand for */
    for (size_t length; *word != '\0'; word += length) {
        char character[8] = "";
        (void)decode(word, &length);
        memcpy(character, word, length);
        if (*word == '\'' || *word == '\\')
            (void)fputc('\\', stderr);
        put_visible(stderr, character);
    }
    (void)fputc('\'', stderr);
}

/* What to do next. */
static void print_advice(const struct run *run, const struct outcome *outcome) {
    const bool goes_on = outcome->end == XAVO_WAIT_DEADLINE || outcome->end == XAVO_WAIT_CANCELLED;
    if (outcome->waited && outcome->job != NULL && outcome->job_id != NULL && goes_on) {
        (void)fputs("The job goes on. To wait for it again: xavoctl wait", stderr);
        if (run->request.user != NULL) {
            (void)fputs(" --user ", stderr);
            put_word(run->request.user);
        }
        (void)fputs(*outcome->job_id == '-' ? " -- " : " ", stderr);
        put_word(outcome->job_id);
        (void)fputc('\n', stderr);
    } else if (outcome->effect == XAVO_EFFECT_UNKNOWN) {
        (void)fputs("To see what is there: xavoctl jobs\n", stderr);
    }
}

static void print_failure(const struct run *run, const struct outcome *outcome) {
    const struct request *request = &run->request;
    const struct command *command = request->command;
    const char *id = outcome->job_id != NULL ? outcome->job_id : request->arguments[0];
    const bool colours = has_colours(stderr);
    (void)fprintf(stderr, "%sxavoctl: %s", colours ? "\033[31m" : "", command->name);
    if ((outcome->job_id != NULL || request->argument_count == 1) && (command->flags & ALL_OR_NONE) == 0) {
        (void)fputc(' ', stderr);
        put_visible(stderr, id);
    }
    (void)fputs(": ", stderr);
    if (outcome->code != XAVO_UNKNOWN_ERROR) /* whose name says less than what follows */
        (void)fprintf(stderr, "%s: ", XAVO_code_name(outcome->code));
    put_visible(stderr, sentence_of(outcome));
    if (outcome->message_id != NULL) {
        (void)fputs(" (", stderr);
        put_visible(stderr, outcome->message_id);
        (void)fputc(')', stderr);
    }
    (void)fprintf(stderr, "%s\n", colours ? "\033[0m" : "");
    print_advice(run, outcome);
}

static void print_failures(const struct run *run) {
    const struct command *command = run->request.command;
    if (run->outcomes->kind == KIND_WRONG_USE || command == NULL) {
        (void)fputs("xavoctl: ", stderr);
        put_visible(stderr, sentence_of(run->outcomes));
        (void)fprintf(stderr, "\nxavoctl help%s%s says how it is used.\n", command ? " " : "",
                      command ? command->name : "");
        return;
    }
    for (size_t i = 0; i < run->outcome_count; ++i) {
        if (has_failed(&run->outcomes[i]))
            print_failure(run, &run->outcomes[i]);
        if ((command->flags & ALL_OR_NONE) != 0)
            return;
    }
}

/* ---- All of it --------------------------------------------------------------------------------------- */

bool print_run(struct run *run) {
    const struct command *command = run->request.command;
    bool printed = true;
    if (run->request.json)
        printed = print_document(run);
    else if (run->request.dry_run)
        print_plan(run);
    else if (command != NULL && command->print != NULL && run->outcomes->kind != KIND_WRONG_USE)
        command->print(run);
    printed = fflush(stdout) == 0 && !ferror(stdout) && printed;
    printed = close(STDOUT_FILENO) == 0 && printed; /* some file systems report an error only then */
    if (!run->request.json || !printed || out_of_memory)
        print_failures(run);
    if (printed && !out_of_memory)
        return true;
    if (out_of_memory)
        (void)fputs("xavoctl: out of memory: the output is incomplete\n", stderr);
    else if (!has_lost_its_reader()) /* who ended it knows that */
        (void)fputs("xavoctl: the output cannot be written\n", stderr);
    if (run->answer.job_id != NULL) {
        (void)fputs("The job was started: ", stderr);
        put_line(stderr, run->answer.job_id);
    }
    return false;
}
