/* output.h - text for people. */
#ifndef XAVOCTL_OUTPUT_H
#define XAVOCTL_OUTPUT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <XAVO_companion.h>

struct run;

/* ---- Streams (stream.c) ---------------------------------------------------------------------------------- */

/* Replaces stdout and stderr by streams whose writes end at a signal that ends the program, or after
 * --timeout. The rest is then dropped, and the stream has an error. Returns false if there is no memory. */
bool open_streams(struct run *run);
/* Returns whether output was lost because the reader of the pipe at stdout has closed it. */
bool has_lost_its_reader(void);

/* ---- Text (text.c) --------------------------------------------------------------------------------------- */

/* Returns the first character of a text, and its length; for a byte that is not valid, -1 and 1. */
int32_t decode(const char *text, size_t *length);
/* Control characters, and those that turn the direction of what follows or cannot be seen. */
bool steers(int32_t character);

/* Writes text of another origin. Control characters, other characters that steer a terminal, and bytes that
 * are not UTF-8 are written as \n, \x1b or \u202e. */
void put_visible(FILE *stream, const char *text);
/* The same, followed by a line feed; NULL is an empty text. */
void put_line(FILE *stream, const char *text);
/* The same as put_visible, but at most this number of columns. */
void put_cut(FILE *stream, const char *text, size_t columns);
/* How many columns put_visible takes. */
size_t visible_width(const char *text);

/* ---- Colours and tables (table.c) ------------------------------------------------------------------------ */

/* Whether a stream gets colours: a terminal that is not dumb, and no NO_COLOR. */
bool has_colours(FILE *stream);
enum colour { PLAIN_COLOUR, RED, GREEN, YELLOW };
/* As put_visible, in a colour. */
void put_coloured(FILE *stream, enum colour colour, const char *text);

/* Returns the width of a column that has this width, after a further cell. A cell that is too wide does not
 * count. */
size_t wider(size_t width, const char *text);
/* Blanks after a text, to the end of its column. */
void put_padding(const char *text, size_t width);

/* A table in columns. A cell NULL is empty. Where `status` is the index of a column, its cells are coloured
 * by what they say of a job. */
void put_table(const char *const *titles, size_t columns, const char *const *cells, size_t rows,
               size_t status);
enum colour colour_of_status(const char *status);

/* ---- Records (records.c) --------------------------------------------------------------------------------- */

/* Expands ROW(name) for each property of a job, in the order in which they are printed. */
#define PRINTED_PROPERTIES(ROW)                                                                              \
    ROW(InstanceID)                                                                                          \
    ROW(Name)                                                                                                \
    ROW(JobStatus)                                                                                           \
    ROW(PercentComplete)                                                                                     \
    ROW(JobStartTime)                                                                                        \
    ROW(JobUntilTime)                                                                                        \
    ROW(ElapsedTimeSinceCompletion)                                                                          \
    ROW(MessageID)                                                                                           \
    ROW(Message)                                                                                             \
    ROW(MessageArguments)

/* A job's properties, or an instance's, in two columns. */
void put_job(const XAVO_VELK_LifecycleJob *job);
void put_instance(const XAVO_Instance *instance);
/* A line for each job that was waited for, or of which `done` is true. Nothing with --quiet. */
void put_done(struct run *run, const char *done);
/* How the job ended that was started and waited for. */
void put_end_of_job(struct run *run);

#endif
