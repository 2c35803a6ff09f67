/* commands.c - all commands, and how they and their options are found. */
#include "command.h"

#include <string.h>

const struct command *const commands[] = {
    &jobs_command,
    &job_command,
    &delete_command,
    &queue_command,
    &backup_command,
    &restore_command,
    &test_share_command,
    &install_command,
    &reboot_command,
    &wait_command,
    &software_command,
    &instances_command,
    &errors_command,
    &doctor_command,
    &completion_command,
    &help_command,
    NULL,
};

const struct command *find_command(const char *name) {
    for (const struct command *const *command = commands; *command != NULL; ++command)
        if (strcmp((*command)->name, name) == 0)
            return *command;
    return NULL;
}

const struct option_row *next_option(const struct command *command, const struct option_row *option) {
    /* The lists one after the other, up to the one that has `option`. */
    bool passed = option == NULL;
    for (size_t i = 0; i < sizeof command->options / sizeof *command->options + 1; ++i) {
        const bool last = i == sizeof command->options / sizeof *command->options;
        const struct option_row *row = last ? global_options : command->options[i];
        for (; row != NULL && row->name != NULL; ++row) {
            if (passed)
                return row;
            passed = row == option;
        }
    }
    return NULL;
}

const struct option_row *find_option(const struct command *command, const char *name) {
    const struct option_row *option = NULL;
    while ((option = next_option(command, option)) != NULL && strcmp(option->name, name) != 0)
        ;
    return option;
}

bool is_global(const struct option_row *option) {
    for (const struct option_row *row = global_options; row->name != NULL; ++row)
        if (row == option)
            return true;
    return false;
}
