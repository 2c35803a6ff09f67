/* progress.h - what a person sees while a job is waited for. */
#ifndef XAVOCTL_PROGRESS_H
#define XAVOCTL_PROGRESS_H

#include "xavoctl.h"

/* Takes in what the worker says after each poll. */
void take_progress(struct run *run, struct json_object *progress);
/* Draws the bar anew, since time has passed. */
void draw_progress(struct run *run);
/* Leaves the line of the bar. */
void end_progress(struct run *run);

#endif
