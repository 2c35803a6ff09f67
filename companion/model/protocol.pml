/* protocol.pml - two callers, each with a call of a method, and the workers of one pool, up to the end of the
 * program. docs/companion-protocol.md describes what is modelled; names are those of companion/src.
 *
 * Workers hang or die at any point, and may answer before they should; they take their time to die. Deadlines
 * pass, calls are cancelled, the program dies, all at any moment. Three assertions and the absence of deadlock
 * are what is checked: a method is not invoked twice, not after or in spite of the effect NONE, and exactly
 * once with the effect ANSWERED; no call is without an end, and no worker is left.
 *
 * -DWITHOUT_... leaves a guard out, -DNEVER=from,to makes a transition an error: each must give a
 * counter-example. scripts/model runs them all. */
#include "../src/transitions.h"

#define CALLERS 2
#define WORKERS 2 /* places in the pool */
#ifdef WITHOUT_WATCH /* of the program, by its workers */
#define PROGRAM_DIES
#endif
#ifdef PROGRAM_DIES
#define ATTEMPTS 1
#else
#define ATTEMPTS 2 /* of the first call; the second one has one less */
#endif
#define PROCESSES 3

#define NAME(name) name,
mtype = { XAVO_CALL_STATES(NAME) };
mtype = { OPEN, BY_WORKER, BY_CALLER }; /* claims */
mtype = { UNDECIDED, NONE, UNKNOWN, ANSWERED }; /* effects */
mtype = { NOT_INVOKED, INVOKED }; /* what an answer says */

typedef Call {
    mtype state, effect;
    byte place, attempts;
    byte invoked; /* how often its method was, in truth */
};
Call calls[CALLERS];

/* The pool: a place for a worker, and which process it has. */
typedef Place {
    bool taken;
    byte process, sequence; /* a process: its number + 1 */
};
Place places[WORKERS];
byte started;

/* What a worker's process shares with the library: the word of the claim, and the socket. */
typedef Word {
    mtype holder;
    byte sequence;
};
Word words[PROCESSES];
chan requests[PROCESSES] = [ATTEMPTS * CALLERS] of { byte, byte };  /* sequence, call */
chan answers[PROCESSES] = [2 * ATTEMPTS * CALLERS] of { byte, mtype }; /* sequence, what it says */
bool ended[PROCESSES], dead[PROCESSES]; /* by the library; indeed */
bool gone; /* the program */
byte finished; /* calls */

#ifdef WITHOUT_SEQUENCE /* of its own for each request to a worker */
#define NEXT(sequence) 1
#else
#define NEXT(sequence) sequence + 1
#endif
#ifdef WITHOUT_MEMORY_OF_ITS_OWN /* for each process */
#define WORD(process, place) place
#else
#define WORD(process, place) process
#endif

inline claim(word, number, by, won) {
    atomic {
        won = words[word].holder == OPEN && words[word].sequence == number;
        if
        :: won -> words[word].holder = by
        :: else
        fi
    }
}

/* ---- A worker -------------------------------------------------------------------------------------------- */

#define SEND(says) !ended[self] -> answers[self]!sequence, says

proctype Worker(byte self, word) {
    byte sequence, call;
    bool won;
    do
    :: atomic {
           requests[self]?sequence, call ->
           if /* the probe, which may fail */
           :: SEND(NOT_INVOKED) -> goto next
           :: SEND(NOT_INVOKED) /* too early */
           :: true
           fi
       };
       if
       :: atomic {
              claim(word, sequence, BY_WORKER, won);
#ifdef WITHOUT_CLAIM_OF_WORKER
              won = true;
#endif
              if
              :: !won -> goto next /* does not answer */
              :: else
              fi
          }
       :: goto dies
       fi;
       if
       :: atomic {
              calls[call].invoked++;
              assert(calls[call].invoked <= 1);
              assert(calls[call].effect != NONE)
          }
       :: goto dies
       fi;
       if
       :: atomic {
              SEND(INVOKED);
next:         sequence = 0;
              call = 0;
              won = false
          }
       :: goto dies
       :: atomic { /* the method hangs */
              sequence = 0;
              call = 0;
              won = false
          };
#ifdef WITHOUT_WATCH /* over the program's end */
          ended[self];
#else
          ended[self] || gone;
#endif
          goto dies
       fi
    :: goto dies /* the program's end, too */
    od;
dies:
    atomic {
        dead[self] = !ended[self];
        sequence = 0;
        call = 0;
        won = false
    }
}

/* ---- The library, for one call --------------------------------------------------------------------------- */

#ifdef NEVER
#define ALLOWED(from, to) || (CALL.state == from && next == to && !MATCHES(from, to, NEVER))
#define MATCHES(from, to, never) MATCH(from, to, never)
#define MATCH(from, to, never_from, never_to) (from == never_from && to == never_to)
#else
#define ALLOWED(from, to) || (CALL.state == from && next == to)
#endif
#define CALL calls[self]
#define PLACE places[CALL.place]
#define IS_OUT (CALL.state == SENDING || CALL.state == WAITING)
#define ANSWERS answers[PLACE.process - 1]

inline move(to) {
    d_step {
        next = to;
        assert(false XAVO_CALL_TRANSITIONS(ALLOWED));
        CALL.state = next;
        next = 0
    }
}

/* Ends the worker's process, which may work on for a while. */
inline drop_process() {
    if
    :: PLACE.process > 0 ->
        ended[PLACE.process - 1] = true;
        dead[PLACE.process - 1] = false; /* nobody looks any more */
        do
        :: ANSWERS?_, _
        :: empty(ANSWERS) -> break
        od
    :: else
    fi;
    PLACE.process = 0;
    PLACE.sequence = 0
}

/* Whether the method of the request that is out was invoked, or may be. */
inline look_whether_invoked() {
    if
    :: IS_OUT ->
        word = WORD(PLACE.process - 1, CALL.place);
#ifdef WITHOUT_CLAIM_OF_CALLER
        invoked = words[word].holder != OPEN;
#else
        claim(word, PLACE.sequence, BY_CALLER, won);
        invoked = !(words[word].holder == BY_CALLER && words[word].sequence == PLACE.sequence);
#endif
    :: else -> invoked = false
    fi;
    word = 0;
    won = false
}

inline end(with, keep) {
    if
    :: keep
    :: !keep -> drop_process()
    fi;
    PLACE.taken = false;
    move(ENDED);
    CALL.attempts = 0;
    CALL.effect = with;
    assert(with != NONE || CALL.invoked == 0);
    assert(with != ANSWERED || CALL.invoked == 1)
}

inline end_without_answer() {
    look_whether_invoked();
    if
    :: invoked -> end(UNKNOWN, false)
    :: !invoked && CALL.state == PAUSED -> end(NONE, true)
    :: !invoked && CALL.state != PAUSED -> end(NONE, false)
    fi;
    invoked = false
}

/* After an attempt without effect. Which calls may be repeated depends on more than is modelled. */
inline repeat_or_end(keep) {
    if
    :: CALL.attempts < ATTEMPTS - self ->
        if
        :: keep
        :: !keep -> drop_process()
        fi;
        move(PAUSED)
    :: end(NONE, keep)
    fi
}

inline worker_died() {
    look_whether_invoked();
#ifdef WITHOUT_LOOK_BEFORE_REPEAT
    invoked = false;
#endif
    if
    :: invoked -> end(UNKNOWN, false)
    :: else -> repeat_or_end(false)
    fi;
    invoked = false
}

inline take_answer() {
#ifdef WITHOUT_CLAIM_BEFORE_ANSWER
    invoked = (says == INVOKED);
#else
    look_whether_invoked();
#endif
    if
    :: number != PLACE.sequence || (invoked && says == NOT_INVOKED) || (!invoked && says == INVOKED) ->
        end_without_answer()
    :: else ->
        if
        :: invoked -> end(ANSWERED, true)
        :: invoked -> end(UNKNOWN, true) /* rc 1 */
        :: !invoked -> repeat_or_end(true)
        :: !invoked -> repeat_or_end(false) /* the connection was lost */
        fi
    fi;
    invoked = false
}

inline attempt() {
    if
    :: PLACE.process > 0 && dead[PLACE.process - 1] -> drop_process()
    :: else
    fi;
    if
    :: PLACE.process == 0 -> move(PAUSED) /* no worker is started yet, because others died */
    :: PLACE.process == 0 -> end_without_answer() /* it cannot be started */
    :: PLACE.process > 0 || started < PROCESSES ->
        if
        :: PLACE.process == 0 ->
            started++;
            PLACE.process = started;
            run Worker(started - 1, WORD(started - 1, CALL.place))
        :: else
        fi;
        move(SENDING);
        CALL.attempts++;
        PLACE.sequence = NEXT(PLACE.sequence);
        word = WORD(PLACE.process - 1, CALL.place);
        words[word].holder = OPEN;
        words[word].sequence = PLACE.sequence;
        word = 0
    fi
}

/* What a thread does under the call's lock. A step deals with what it shares with a worker once. */
#ifdef WITHOUT_LOCK
#define STEP
#else
#define STEP atomic
#endif
#ifdef WITHOUT_DEADLINE
#define SOMETHING_TO_DO (CALL.state != WAITING || nempty(ANSWERS) || dead[PLACE.process - 1])
#else
#define SOMETHING_TO_DO true
#endif
#ifdef WITHOUT_PLACE_OF_ITS_OWN
#define IS_FREE(number) true
#else
#define IS_FREE(number) !places[number].taken
#endif

/* The thread that makes the call. */
proctype Caller(byte self) {
    byte word, number;
    mtype next, says;
    bool won, invoked;
    {
        atomic {
            if
            :: IS_FREE(0) -> CALL.place = 0
            :: IS_FREE(1) && started > 0 -> CALL.place = 1 /* the places are alike */
            fi;
            PLACE.taken = true;
            CALL.state = NEW
        };
        do
        :: STEP {
               CALL.state != ENDED && SOMETHING_TO_DO ->
               if
               :: CALL.state == NEW || CALL.state == PAUSED -> attempt()
               :: CALL.state == SENDING -> /* the socket takes the rest */
                   requests[PLACE.process - 1]!PLACE.sequence, self;
                   move(WAITING)
               :: IS_OUT && nempty(ANSWERS) ->
                   ANSWERS?number, says;
                   take_answer()
               :: IS_OUT && empty(ANSWERS) && dead[PLACE.process - 1] -> worker_died()
#ifndef WITHOUT_DEADLINE
               :: CALL.state != ENDED -> end_without_answer()
#endif
               fi;
               number = 0;
               says = 0
           }
        :: CALL.state == ENDED -> break
        od;
        atomic { move(COLLECTED); finished++ }
    } unless { gone }
}

/* Another thread, which cancels the call at any time. */
proctype Canceller(byte self) {
    byte word;
    mtype next;
    bool won, invoked;
    {
        STEP {
            CALL.state != 0 ->
            if
            :: CALL.state != ENDED && CALL.state != COLLECTED -> end_without_answer()
            :: else
            fi
        }
    } unless { gone || finished == CALLERS }
}

init {
    byte i;
    for (i : 0 .. CALLERS - 1) {
        calls[i].effect = UNDECIDED;
        run Caller(i)
    }
    if
    :: run Canceller(0)
    :: true
    fi;
    if
#ifdef PROGRAM_DIES
    :: true
#endif
    :: true -> finished == CALLERS
    fi;
    gone = true
}
