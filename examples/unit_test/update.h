/* update.h - the part of the program that is tested. */
#ifndef UPDATE_H
#define UPDATE_H

#include <stdio.h>
#include <XAVO_companion.h>

typedef enum update_end {
    UPDATE_DONE,
    UPDATE_NOT_STARTED, /* nothing was installed: no broker, no such target, or refused */
    UPDATE_FAILED,      /* the job failed or was deleted */
    UPDATE_UNKNOWN      /* the job continues, or may have been started: look at the list of jobs */
} update_end;

/* Installs the software at a URI onto a software identity and waits for the job. Each of the three steps
 * (find the target, start the job, wait for its end) ends within how->deadline_ms. Prints each step on `out`.
 */
update_end update_software(FILE *out, XAVO_Pool *pool, const char *uri, const char *identity,
                           const XAVO_WaitOptions *how);

#endif
