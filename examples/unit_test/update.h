/* update.h - the part of the program that is tested. */
#ifndef UPDATE_H
#define UPDATE_H

#include <stdio.h>

typedef enum update_end {
    UPDATE_DONE,
    UPDATE_NOT_STARTED, /* no broker, no such target, or refused; a job may exist after UNKNOWN_ERROR */
    UPDATE_FAILED,      /* the job failed, or does not exist any more */
    UPDATE_UNFINISHED   /* the job has not ended within the limit, or cannot be fetched; it continues */
} update_end;

/* Installs the software at a URI onto a software identity and waits for the job: fetches it every two seconds
 * until the pauses add up to `limit` seconds. Prints each step on `out`. `pause` waits for a number of
 * seconds; it is an argument so that tests need not wait. */
update_end update_software(FILE *out, const char *uri, const char *identity, unsigned int limit,
                           void (*pause)(unsigned int seconds));

#endif
