/* nightly_backup.h - the program without its command line, for main and for the tests. */
#ifndef NIGHTLY_BACKUP_H
#define NIGHTLY_BACKUP_H

#include <stdio.h>
#include <XAVO_companion.h>

/* The program's exit status. */
typedef enum {
    BACKUP_DONE = 0,
    BACKUP_NOT_STARTED = 1, /* no job was started */
    BACKUP_FAILED = 2,      /* the job failed or was deleted */
    BACKUP_UNFINISHED = 3   /* the job continues, or may have been started: run the program again */
} backup_end;

/* Starts the backup that the record describes, unless there is a job of its JobName that has not failed, and
 * waits for the job. how->deadline_ms, at most a day, limits the whole run; how->first_pause_ms is also the
 * pause between two attempts to start (0: 5 s). Prints each step on `out`. */
backup_end nightly_backup(FILE *out, XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *backup,
                          const XAVO_WaitOptions *how);

#endif
