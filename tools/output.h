/* output.h - text for people and for programs. */
#ifndef XAVOCTL_OUTPUT_H
#define XAVOCTL_OUTPUT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>

struct json_object;

/* Writes text that came from elsewhere: control characters and what else would steer a terminal, and bytes
 * that are not UTF-8, as \n, \x1b or \u202e. */
void put_visible(FILE *stream, const char *text);
/* The same, as far as so many columns hold it. */
void put_cut(FILE *stream, const char *text, size_t columns);
/* How many columns put_visible takes. */
size_t visible_width(const char *text);

/* Whether a stream gets colours: a terminal that is not dumb, and no NO_COLOR. */
bool has_colours(FILE *stream);
enum colour { PLAIN_COLOUR, RED, GREEN, YELLOW };
/* As put_visible, in a colour. */
void put_coloured(FILE *stream, enum colour colour, const char *text);

/* A table in columns. A cell NULL is empty. Where `status` is the index of a column, its cells are coloured
 * by what they say of a job. */
void put_table(const char *const *titles, size_t columns, const char *const *cells, size_t rows,
               size_t status);
enum colour colour_of_status(const char *status);

/* One document on one line. Bytes that are not UTF-8 become U+FFFD; what would steer a terminal is escaped.
 * False when there is no memory for it. */
bool put_document(struct json_object *document);

#endif
