/* ask.h - what the worker asks of the controller, a function for each command; they send frames:
 *     connected   a handle is open: from now on a worker that dies has died in an exchange
 *     begin N     what follows is about the N-th argument, a job
 *     set {...}   members of the document, or of the part that begin began
 *     add {LIST: VALUE}      one more element of a list there
 *     before [ID...]         the jobs that have the name of the one that is going to be started
 *     progress {job, changed, away}      what a poll found; away: no broker answered
 * and "done", which is added for them. */
#ifndef XAVOCTL_ASK_H
#define XAVOCTL_ASK_H

#include "xavoctl.h"

void ask_jobs(struct request *request);
void ask_job(struct request *request);
void ask_delete(struct request *request);
void ask_queue(struct request *request);
void ask_backup(struct request *request);
void ask_restore(struct request *request);
void ask_test_share(struct request *request);
void ask_install(struct request *request);
void ask_reboot(struct request *request);
void ask_wait(struct request *request);
void ask_instances(struct request *request);
void ask_doctor(struct request *request);

/* Looks for the job that may have been started: one of the name that was not there before. Then, if asked
 * to, follows it. */
void ask_find(struct request *request);
/* Follows the job request->job_id, which was started before. */
void ask_follow(struct request *request);

#endif
