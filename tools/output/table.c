/* table.c - colours, and tables in columns. */
#include "output.h"

#include "../outcome.h"

#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

bool has_colours(FILE *stream) {
    const char *none = getenv("NO_COLOR"), *terminal = getenv("TERM");
    return (none == NULL || *none == '\0') && terminal != NULL && strcmp(terminal, "dumb") != 0 &&
           isatty(stream == stdout ? STDOUT_FILENO : STDERR_FILENO);
}

void put_coloured(FILE *stream, enum colour colour, const char *text) {
    static const char *const codes[] = {"", "\033[31m", "\033[32m", "\033[33m"};
    const bool coloured = colour != PLAIN_COLOUR && has_colours(stream);
    if (coloured)
        (void)fputs(codes[colour], stream);
    put_visible(stream, text);
    if (coloured)
        (void)fputs("\033[0m", stream);
}

enum colour colour_of_status(const char *status) {
    return strcasecmp(status, "Completed") == 0 ? GREEN
           : strcasecmp(status, "Failed") == 0  ? RED
           : strcasecmp(status, "Running") == 0 ? YELLOW
                                                : PLAIN_COLOUR;
}

enum { MOST_COLUMNS = 40 }; /* of what pads; a wider cell moves the rest of its row alone */

void put_padding(const char *text, size_t width) {
    const size_t taken = visible_width(text);
    (void)printf("%*s", (int)(width > taken ? width - taken : 0) + 2, "");
}

size_t wider(size_t width, const char *text) {
    const size_t columns = visible_width(text);
    return columns > width && columns <= MOST_COLUMNS ? columns : width;
}

void put_table(const char *const *titles, size_t columns, const char *const *cells, size_t rows,
               size_t status) {
    size_t *widths = allocate(columns, sizeof *widths);
    if (widths == NULL)
        return;
    for (size_t row = 0; row <= rows; ++row)
        for (size_t i = 0; i < columns; ++i)
            widths[i] = wider(widths[i], row == 0 ? titles[i] : cells[(row - 1) * columns + i]);
    for (size_t row = 0; row <= rows; ++row) {
        for (size_t i = 0; i < columns; ++i) {
            const char *cell = row == 0 ? titles[i] : cells[(row - 1) * columns + i];
            if (cell != NULL)
                put_coloured(stdout, row > 0 && i == status ? colour_of_status(cell) : PLAIN_COLOUR, cell);
            if (i + 1 < columns)
                put_padding(cell, widths[i]);
        }
        (void)putchar('\n');
    }
    free(widths);
}
