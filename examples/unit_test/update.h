/* update.h - the part of the program that its tests are about. */
#ifndef UPDATE_H
#define UPDATE_H

#include <stdio.h>

typedef enum update_end {
    UPDATE_DONE,
    UPDATE_NOT_STARTED, /* no broker, no such target, or refused; after UNKNOWN_ERROR look for a job first */
    UPDATE_FAILED,      /* the job failed, or is gone */
    UPDATE_UNFINISHED   /* the job has not ended within the limit, or could not be asked for; it goes on */
} update_end;

/* Installs what a URI names onto a software identity and waits for the job, asking for it every
 * two seconds until its pauses come to `limit` seconds. What happens is told on `out`. `pause` waits for so
 * many seconds; it is an argument so that tests need not. */
update_end update_software(FILE *out, const char *uri, const char *identity, unsigned int limit,
                           void (*pause)(unsigned int seconds));

#endif
