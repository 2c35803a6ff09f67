/* write.h - commands whose output is a text. */
#ifndef XAVOCTL_COMMANDS_WRITE_H
#define XAVOCTL_COMMANDS_WRITE_H

#include "../outcome.h"
#include "../output/json.h"

#include <stdio.h>
#include <stdlib.h>

struct run;

/* Sets the member "text" to what the function writes. */
static inline void set_written(struct json_object *document, const struct run *run,
                               void (*write)(FILE *, const struct run *)) {
    char *text = NULL;
    size_t size;
    FILE *out = open_memstream(&text, &size);
    if (out != NULL)
        write(out, run);
    out_of_memory |= out == NULL || (ferror(out) | fclose(out)) != 0 || text == NULL;
    json_set_text(document, "text", text);
    free(text);
}

#endif
