/* nightly_backup.h - the program without its command line, for main and for the tests. */
#ifndef NIGHTLY_BACKUP_H
#define NIGHTLY_BACKUP_H

#include <stdio.h>
#include <XAVO_companion.h>

typedef enum { BACKUP_DONE = 0, BACKUP_REFUSED = 1, BACKUP_FAILED = 2, BACKUP_UNFINISHED = 3 } backup_end;

/* Starts the backup that the record describes, unless there is a job of its JobName that has not failed, and
 * follows it. how->deadline_ms limits the whole run. Prints each step on `out`. */
backup_end nightly_backup(FILE *out, XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *backup,
                          const XAVO_WaitOptions *how);

#endif
