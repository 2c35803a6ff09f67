// transitions.h - the states of a call, and which may follow each: STATE(name), MAY_FOLLOW(state, next). The
// library traps on any other step. The model of the protocol (companion/model/) reads this file, too, so that
// it has macros only.
#ifndef XAVO_COMPANION_TRANSITIONS_H
#define XAVO_COMPANION_TRANSITIONS_H

#define XAVO_CALL_STATES(STATE)                                                                              \
    STATE(NEW)       /* nothing was sent; it may have no worker yet */                                       \
    STATE(SENDING)   /* a part of the request is sent */                                                     \
    STATE(WAITING)   /* the request is sent */                                                               \
    STATE(PAUSED)    /* before another attempt; no request is out */                                         \
    STATE(ENDED)     /* its answer is in the call */                                                         \
    STATE(COLLECTED) /* the program has it */

#define XAVO_CALL_TRANSITIONS(MAY_FOLLOW)                                                                    \
    MAY_FOLLOW(NEW, SENDING)                                                                                 \
    MAY_FOLLOW(NEW, PAUSED)                                                                                  \
    MAY_FOLLOW(NEW, ENDED)                                                                                   \
    MAY_FOLLOW(SENDING, WAITING)                                                                             \
    MAY_FOLLOW(SENDING, PAUSED)                                                                              \
    MAY_FOLLOW(SENDING, ENDED)                                                                               \
    MAY_FOLLOW(WAITING, PAUSED)                                                                              \
    MAY_FOLLOW(WAITING, ENDED)                                                                               \
    MAY_FOLLOW(PAUSED, SENDING)                                                                              \
    MAY_FOLLOW(PAUSED, PAUSED)                                                                               \
    MAY_FOLLOW(PAUSED, ENDED)                                                                                \
    MAY_FOLLOW(ENDED, COLLECTED)

#endif
