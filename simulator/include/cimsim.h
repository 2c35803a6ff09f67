/* cimsim.h - control of the simulated management controller.
 *
 * The simulator takes the place of the CIM client library (same soname, same functions) and holds a
 * controller behind it, in the process that loads it. A program needs this header only to control that
 * controller: a test adds jobs and shares, makes calls fail, and reads the requests that arrived.
 *
 * Conventions
 *  1. Threads. Every function may be called from any thread at any time; all of them share one lock.
 *  2. Strings. A string that a function returns stays valid until the same thread calls a function of this
 *     header again. Strings handed in are copied.
 *  3. Values. A function with a cimsim_value parameter owns and frees that value, also when it fails: do not
 *     use it again.
 *  4. Times. Times are seconds of simulated time.
 *  5. Start. A process starts with the demonstration controller: a few jobs, software identities and shares
 *     (see cimsim_load_demo), or with the controller that its environment names. The first function of this
 *     header that it calls, but for those that make values, gives it the demonstration controller as a
 *     controller of its own: a test never works on the controller that the shell's environment names.
 *     cimsim_use_state attaches a process to a state. Tests begin with cimsim_reset().
 *  6. Slots. Slots are named as in the function tables: "CMPIArgs.addArg", "CMCIClient.invokeMethod",
 *     "CMPIString.release"; the constructors by their own names: "cmciConnect". An unknown name ends the
 *     program with a message: a fault in it would never be injected.
 *
 * Environment, read when the library is loaded, for processes that do not call this header (see Start)
 *  CIMSIM_SCENE   the controller that the process finds.
 *                 Either switches, separated by commas: "lockdown", "unreachable" (no broker),
 *                 "refuse=NAME" (a user the broker refuses, named as it sees him: "guest01ff"), "empty"
 *                 (as after cimsim_reset). Or, when it contains a line end, the text of a scene. Or, when it
 *                 is not made of switches alone and has a slash in it or there is a file of that name, a
 *                 file with that text: xavo-scene(5) describes its form; an error in it is reported with its
 *                 line and ends the program when it connects. A word that is none of these is reported on
 *                 standard error and ignored.
 *  CIMSIM_STATE   a file that holds the controller: all processes that name it share the same one.
 *                 It holds the clock, jobs, software, shares, classes, limits, refused users, switches,
 *                 scripted answers, added elements, faults (the calls of all processes count) and the
 *                 broker's generation: a client that connected before a restart is on a dead
 *                 connection, whichever process restarted it. Traces and counts are each process's
 *                 own. Every exchange, every call while faults are planned, and every function here
 *                 locks FILE.lock, reads the file again if it changed, and writes it whole when
 *                 something has changed, to FILE.new, which is then renamed. FILE.new and FILE.lock get
 *                 the owner, group, permissions and access control list of FILE as far as the process
 *                 may set them, and otherwise fewer permissions. Only its owner can access a new file,
 *                 since it contains passwords. FILE.lock is adapted when its owner or root uses the
 *                 state: after a chmod that gives others access to FILE, use it once yourself.
 *                 Nothing is locked while an answer is held back. Where there is no such
 *                 file, it is made of what the process has found: of its scene. A file with a mistake,
 *                 and one that cannot be read or written, is left alone: standard error says why,
 *                 connecting gives NULL, and exchanges give rc 1. Values without a notation (an
 *                 unknown type code, an array under another type) last until the file is read again. */
#ifndef CIMSIM_H
#define CIMSIM_H

#include <CimClientLib/cmcidt.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The controller as a whole ---------------------------------------------------------------------- */

/* Empties the controller: no jobs, identities, shares, scripted answers, faults or refused users; every
 * switch off, every counter, trace and record empty, the clock following the wall clock. Objects and clients
 * that the program holds stay as they are, except those that were lost when the last client was released:
 * they are no longer counted. */
void cimsim_reset(void);

/* Adds the demonstration controller's contents: jobs "JID_1" to "JID_3" (none is running: any of them can be
 * scheduled or deleted), identities "IDENTITY:BIOS" and "IDENTITY:NIC", and on the server "192.0.2.10"
 * the shares "backups" (type 2, user "operator", password "secret") and "public" (type 0). */
void cimsim_load_demo(void);

/* Attaches the process to the state in the file `path`, as CIMSIM_STATE does (see Environment); where there
 * is no such file, it is made of the process's controller. NULL or "": detaches it from its state; the
 * controller stays as it was last read, in this process alone. A scene that the environment names stays in
 * either case, if this is the first function that is called. Clients that are open stay connected, and
 * answers that are held back go out. Children of the process find what the environment names, as before.
 * Returns 0, or -1 when the state cannot be had: standard error and cimsim_state_error say why. The process
 * is attached to it all the same, and connects as soon as the state is good. */
int cimsim_use_state(const char *path);

/* ---- Time --------------------------------------------------------------------------------------- */

/* on: time stands still; only cimsim_advance moves it. off: it follows the wall clock again, from where it
 * stands. Times as texts, yyyymmddhhmmss, are in UTC. */
void cimsim_freeze_time(int on);
void cimsim_advance(unsigned int seconds);

/* ---- Values ------------------------------------------------------------------------------------- */

/* A description from which the simulator makes CMPI values when it hands them out. */
typedef struct cimsim_value cimsim_value;

/* A CMPI_string; NULL makes a string object without characters behind it. */
cimsim_value *cimsim_string(const char *characters);
/* A CMPI_chars: handed out as memory of malloc that its receiver frees. */
cimsim_value *cimsim_chars(const char *characters);
/* A number, boolean, char16 or real of type `type`, as its bits. */
cimsim_value *cimsim_number(CMPIType type, CMPIUint64 bits);
/* A CMPI_dateTime with this text. */
cimsim_value *cimsim_datetime(const char *text);
/* A CMPI_ref. `key` may be NULL: a reference without keys. `value` may be NULL only then. */
cimsim_value *cimsim_reference(const char *name_space, const char *class_name, const char *key,
                               cimsim_value *value);
/* A CMPI_instance of a class without properties. */
cimsim_value *cimsim_instance(const char *class_name);
/* An array of `count` elements of type `type`; an element may be NULL: never set. */
cimsim_value *cimsim_array(CMPIType type, unsigned int count, cimsim_value *const *elements);
/* The null value of a type: state CMPI_nullValue. As with the real library a null CMPI_string still
 * comes with a string object, one without characters. */
cimsim_value *cimsim_null(CMPIType type);
/* A value whose state is good and whose pointer is NULL. */
cimsim_value *cimsim_no_object(CMPIType type);
/* The same value under another state, or its bits under another type code. Under the code of a string,
 * a reference, an instance, an array or of memory an object of another kind comes out as NULL; under
 * CMPI_args, CMPI_class, CMPI_enumeration and CMPI_dateTime any object can be handed out, and released. */
cimsim_value *cimsim_with_state(cimsim_value *value, CMPIValueState state);
cimsim_value *cimsim_with_type(cimsim_value *value, CMPIType type);
/* The value that a text denotes in the notation of xavo-scene(5): uint32:5, string:"text",
 * array:"uint16 1 2", reference:"root/velk VELK_LifecycleJob InstanceID=string:JID_1", null:uint32. "lacking"
 * gives NULL. A text with a mistake ends the program with a line, as an unknown slot does. */
cimsim_value *cimsim_parse_value(const char *text);
/* The type of a name of that notation, "uint32", "string", "string[]" for an array of strings. An unknown
 * name ends the program with a line. */
CMPIType cimsim_type_named(const char *name);
/* The notation of a value that the client library handed out; "TYPE:object" for an object without a notation.
 * The objects of the value must be alive. It is no call into the client library: nothing is counted, traced
 * or pooled. */
const char *cimsim_value_text(const CMPIData *data);
/* Frees a value that was not handed over. NULL is accepted. */
void cimsim_discard(cimsim_value *value);

/* ---- Jobs --------------------------------------------------------------------------------------- */

typedef struct cimsim_job {
    const char *InstanceID;
    const char *Name;
    const char *JobStatus;    /* "New", "Scheduled", "Running", "Completed", "Failed" */
    const char *JobStartTime; /* as SetupJobQueue was given it; "NOW" for one that starts at once */
    const char *JobUntilTime; /* empty when there is none */
    unsigned int PercentComplete;
} cimsim_job;

/* Adds a job that starts `start` seconds from now, runs for `runs` seconds and then completes or,
 * when `fails` is not 0, fails halfway. CIMSIM_NEVER as `start`: it waits until a queue takes it.
 * Returns 0, or -1 when there is a job of that name. */
#define CIMSIM_NEVER 0xffffffffu
int cimsim_add_job(const char *InstanceID, const char *name, unsigned int start, unsigned int runs,
                   int fails);

/* Replaces one property of a job's instance permanently; NULL: the instance lacks it. The job need not exist
 * yet: services name the jobs that they start "JID_1", "JID_2" and so on, and skip names in use. */
void cimsim_set_job_property(const char *InstanceID, const char *property, cimsim_value *value);

/* Sets how the next job that a service starts runs: for `runs` seconds (CIMSIM_USUAL: 3 s for an installation
 * or a reboot, 5 s for a backup or a restore); if `fails` is not 0, it fails halfway, with `message` as its
 * message (NULL: the usual one). Each further call is for the job after that. */
#define CIMSIM_USUAL 0xffffffffu
void cimsim_next_job(unsigned int runs, int fails, const char *message);

unsigned int cimsim_job_count(void);
/* The index-th job, in the order of creation. Returns 0, or -1 past the end. */
int cimsim_job_at(unsigned int index, cimsim_job *job);

/* Inserts this value into every enumeration of instances, before its index-th instance or at its end. Values
 * with the same index keep the order in which they were added. */
void cimsim_add_element(unsigned int index, cimsim_value *value);

/* ---- What the services know --------------------------------------------------------------------- */

/* clang-format off */
/* How they answer. Digits given as text for an integer parameter (RebootJobType, ShareType and the like),
 * up to 65535, arrive as the integer; other text arrives as it is, and is no valid value. A query
 * (execQuery) finds nothing. The client's other slots, createInstance, setInstance, deleteInstance,
 * enumInstanceNames and getProperty among them, send their request, and the answer is rc 7 without a
 * message. Jobs that the services start take 3 s for an installation or a reboot and 5 s for a backup or a
 * restore. A method that refuses gives 2 and, in "MessageID" and "Message":
 *   VELK_JobService     JQ001 unknown job, JQ002 a running job is not deleted, JQ003 only a new or a
 *                       scheduled job can be scheduled, JQ004 start time, JQ005 until time (not valid, or
 *                       before the start), JQ006 missing parameter
 *   VELK_SoftwareInstallationService
 *                       SWI001 scheme of the URI, SWI002 type of reboot job (1 graceful, 2 forced), KTB017,
 *                       PXN095
 *   VELK_QMService      QM016 missing parameter, QM017 bad value (share type, credentials), QM023 no such
 *                       share, QM051 and QM052 another backup or restore is scheduled, WUD017 start time,
 *                       WUD018 until time, KTB018 a backup and KTB019 a restore is running, KTB017 too many
 *                       jobs, PXN095 lockdown (not for the share test)
 * Times are "NOW" or yyyymmddhhmmss in UTC, not in the past. An unknown target of an installation is a
 * status: NOT_FOUND. */
/* clang-format on */

/* NULL as the name or the version: an empty one. */
void cimsim_add_software_identity(const char *InstanceID, const char *name, const char *version);
/* A share that can be reached. `user` NULL: it asks for no credentials. */
void cimsim_add_share(const char *address, const char *name, unsigned int type, const char *user,
                      const char *password);
void cimsim_set_lockdown(int on);
/* Sets the highest number of jobs that the controller holds; CIMSIM_NO_LIMIT: any number. */
#define CIMSIM_USUAL_JOB_LIMIT 256u
#define CIMSIM_NO_LIMIT 0u
void cimsim_set_job_limit(unsigned int jobs);

/* ---- Classes of a test's own -------------------------------------------------------------------- */

/* Adds a class to the namespace "root/velk", with the names of its keys, a list that ends with NULL. Returns
 * 0, or -1 when there is one of that name. */
int cimsim_add_class(const char *name, const char *const *keys);

/* Adds an instance of a class that was added: `count` properties, its keys among them, by name and value.
 * Returns 0, or -1 when no such class was added or a key is missing. */
int cimsim_add_instance(const char *class_name, unsigned int count, const char *const *names,
                        cimsim_value *const *values);

/* ---- The broker --------------------------------------------------------------------------------- */

/* off: cmciConnect finds no broker (rc 1), and connections that are open, in any process that shares the
 * state, are dead, as after a restart, also when the broker is back. Connecting otherwise than in local mode
 * (host "localhost", no scheme, no port, SFCC_CLIENT in the environment "SfcbLocal") fails, too, and standard
 * error says what is wrong. */
void cimsim_set_reachable(int on);
/* Calls by this user, named as the broker sees it ("guest01ff"), are answered with ACCESS_DENIED. */
void cimsim_refuse_user(const char *user);
/* Holds every answer back for this much simulated time: when time stands still, until cimsim_advance has
 * moved it that far. cimsim_reset releases all answers. */
void cimsim_hold_answers(unsigned int milliseconds);
/* Fills the bits above the low 32 of every uint32 that a method returns. */
void cimsim_set_garbage(int on);

/* The broker was restarted: until every client was released and a new one connects, every exchange writes to
 * a dead socket (SIGPIPE for the calling thread). All but invokeMethod then give rc 1 with the message
 * "Internal error - -1\n" (a backslash and an n, no end of line); invokeMethod is misuse, since the real
 * library crashes in it, and gives rc 1 where misuse is counted. Connecting beside an open client succeeds
 * all the same, and releasing a client raises no signal. The other two bits say otherwise of connecting
 * (SIGPIPE, and NULL) and of releasing (SIGPIPE): not observed with the real library, they exercise a
 * caller's guard. With CIMSIM_PIPE_CONNECT, connecting while no client is open meets the dead socket once. 0:
 * takes the restart back. */
#define CIMSIM_PIPE_CALLS 1u
#define CIMSIM_PIPE_CONNECT 2u
#define CIMSIM_PIPE_RELEASE 4u
void cimsim_restart_broker(unsigned int pipes);

/* Where a thread ends while another releases the process's last client, the real library crashes now and
 * then: the end of the thread runs code that is being unloaded. Not 0: a release of the last client takes up
 * to this many milliseconds of real time when other threads have used the client library since the first
 * client connected, and one of them that ends meanwhile is misuse. Keep one client open until all threads are
 * joined. 0 (the default, also after cimsim_reset): a release ends at once, and such a moment goes unnoticed.
 */
void cimsim_set_unload_time(unsigned int milliseconds);

/* Why the state cannot be read or written; NULL if it can, and if there is none. */
const char *cimsim_state_error(void);

/* Number of exchanges that began on a client while another was running on it. */
unsigned long cimsim_overlaps(void);

/* ---- The last request --------------------------------------------------------------------------- */

typedef struct cimsim_item {
    const char *name;
    CMPIType type; /* as it was handed to addKey or addArg: CMPI_chars, not CMPI_string */
    /* As it was sent: characters; numbers in decimal, also when digits were given as text for an integer;
     * arrays as [a,b]; references as ns:Class.Key="v". */
    const char *text;
    /* The same in the notation of xavo-scene(5), chars:text for a string given as CMPI_chars. */
    const char *value;
} cimsim_item;

typedef struct cimsim_request {
    const char *operation; /* the client's slot: "invokeMethod", "getClass", "createInstance" ... */
    const char *user;
    const char *name_space;
    const char *class_name;
    const char *method; /* empty when the operation is not invokeMethod */
    CMPIFlags flags;    /* 0 for invokeMethod */
    unsigned int key_count;
    const cimsim_item *keys;
    unsigned int argument_count;
    const cimsim_item *arguments;
} cimsim_request;

/* The last request that reached the broker since cimsim_reset, or NULL; valid as every string that is
 * returned (Strings). */
const cimsim_request *cimsim_last_request(void);
/* Number of requests that have reached the broker since cimsim_reset. */
unsigned long cimsim_request_count(void);

/* ---- The journal -------------------------------------------------------------------------------- */

/* on: starts a new journal of every request that reaches the broker, from all processes that share the state;
 * off: stops it. Each process appends to FILE.journal; without a state the journal is in memory. */
void cimsim_journal(int on);

typedef struct cimsim_journal_entry {
    long process; /* that sent it */
    const char *operation, *user, *class_name;
    const char *method;  /* empty when the operation is not invokeMethod */
    const char *subject; /* the first argument of a method, or the first key, as text; else empty */
    CMPIrc rc;           /* the answer's status */
    int has_returned;    /* 1: a method returned a uint32 */
    unsigned int returned;
} cimsim_journal_entry;

/* Number of the entries. */
unsigned long cimsim_journal_count(void);
/* The index-th entry. Returns 0, or -1 past the end. */
int cimsim_journal_at(unsigned long index, cimsim_journal_entry *entry);

/* ---- Scripting the next answer ------------------------------------------------------------------ */

/* These three make up the whole answer to the next invokeMethod, or, after cimsim_answer_then, to the one
 * after those that are scripted already. Neither the service nor the list of refused users is consulted.
 * Defaults: rc 0 without a message, no outputs, and a return value of uint32 0, or with a failing status no
 * value (type 0, state CMPI_notFound). The caller owns an object that is returned if its state is good (or
 * that of a key); otherwise the object is left to the pool, since a caller that checks the state does not
 * free it. */
void cimsim_answer_return(cimsim_value *value);
void cimsim_answer_output(const char *name, cimsim_value *value);
/* `message` NULL: no message object. Unlike cimsim_fail, this leaves the return value and the outputs in
 * place. */
void cimsim_answer_status(CMPIrc rc, const char *message);
/* Ends one answer and begins the next. */
void cimsim_answer_then(void);

/* ---- Failing calls ------------------------------------------------------------------------------ */

#define CIMSIM_EVERY_SLOT ((const char *)0)
#define CIMSIM_TAKE_BACK 0ul /* as nth */

typedef struct cimsim_fault {
    CMPIrc rc;           /* 0: the call reports success and still hands out nothing */
    const char *message; /* NULL: no message object */
    int with_result;     /* not 0: the call does its work and hands out its result all the same */
} cimsim_fault;

/* Makes the nth call from now of this slot fail once, n counted from 1; CIMSIM_EVERY_SLOT counts every call
 * into the client library. A call that fails without a result does nothing: a value is not stored, an
 * enumeration does not move on, a request is not sent. One without a status just hands out nothing
 * (NULL, 0, no element). A release that fails still releases, and never brings a message.
 * Each planned fault counts the calls since it was planned. If two are due in one call, the older is
 * injected, and the other in the next call of its slot. CIMSIM_TAKE_BACK as nth removes all planned faults.
 */
void cimsim_fail(const char *slot, unsigned long nth, const cimsim_fault *fault);
/* The same, and every call after the nth as well. */
void cimsim_fail_from(const char *slot, unsigned long nth, const cimsim_fault *fault);
/* What can happen in a call: it does not return, unless its own process calls cimsim_reset, when it fails
 * with rc 1; SIGSEGV ends the process; the process calls exit(1); the broker restarts, as by
 * cimsim_restart_broker(CIMSIM_PIPE_CALLS). */
#define CIMSIM_HANG 1
#define CIMSIM_CRASH 2
#define CIMSIM_EXIT 3
#define CIMSIM_RESTART 4

/* Makes this happen in the nth call from now of this slot, counted as by cimsim_fail: before the call does
 * anything or, when `after` is not 0, after it did its work; in an exchange that is after the controller
 * acted and before the answer arrives. */
void cimsim_disrupt(const char *slot, unsigned long nth, int what, int after);
/* The slot into which a fault was injected last since the latest one was planned, or NULL. */
const char *cimsim_fault_hit(void);

/* ---- Watching ----------------------------------------------------------------------------------- */

/* Calls of one slot, or of all for CIMSIM_EVERY_SLOT, since cimsim_reset. */
unsigned long cimsim_calls(const char *slot);

/* on: starts a new record of every call; off: stops it. */
void cimsim_trace(int on);
/* The record: one word per call, separated by blanks, "newCMPIObjectPath=CMPIObjectPath#1
 * CMPIObjectPath#1.addKey CMPIArgs#2.release"; objects are numbered by kind from 1, in the order in
 * which the record first meets them. A constructor that makes nothing is "native_new_CMPIArgs=NULL";
 * an object that a slot hands out gets its number when it is first used. */
const char *cimsim_traced(void);

/* ---- Workers ------------------------------------------------------------------------------------- */

/* A program may let other processes make its calls, in workers that it starts. These meet its controller in a
 * state only, whose file they find in their environment. Functions here that attach the process to another
 * controller set or clear CIMSIM_STATE and CIMSIM_SCENE in the environment of the process.
 *
 * A library that makes such workers calls this function, if it is there: with 1 before it copies the
 * environment for a pool of workers, with -1 after it has freed one. A process without a state then gets a
 * private one in $TMPDIR (else /tmp), which is removed when the process ends by exit; it holds what the
 * process's controller holds. When the process is to be attached to another controller while there is such a
 * pool, the program ends with a message. The folder of the simulator goes to the front of LD_LIBRARY_PATH,
 * and CIMSIM_ONLY is set: a worker loads the simulator, and refuses another client library. */
void XAVO_pools_changed(int change);

/* ---- Accounting --------------------------------------------------------------------------------- */

/* Objects that the program owns and has not released, clients included; also the elements of arrays
 * read back (getArg, a property) that were overwritten without having been released: such an array forgets
 * them, while one that the program made frees them itself. */
unsigned long cimsim_owned(void);
/* Values read from objects and left to a thread's pool, in all threads. The object of a null string is
 * one of them. A pool is emptied when its thread releases the process's last client, or ends while a client
 * is open. When another thread releases the last client, the pool is lost: its values are counted until
 * cimsim_reset, and using one is misuse. */
unsigned long cimsim_pooled(void);
/* Names of the objects of both kinds, separated by blanks: for the message of a failing test. */
const char *cimsim_live(void);

/* Misuse - a double release (an element by itself and with its container, or by itself and then overwritten
 * in an array that the program made), a use after release or after the last client was released, a
 * constructor without an open client, a value released on another thread, invokeMethod without a status,
 * without input arguments, without output arguments when the method has outputs, of a class or namespace that
 * there is not or on a dead connection, a list of properties given to enumInstances or getInstance, the end
 * of a thread while another releases the last client (see cimsim_set_unload_time) - ends the program with a
 * line on standard error that names the object. on: it is counted instead, from 0, and the call does nothing
 * (but a method without output arguments runs); it gives rc 1, or rc 6 for an unknown class. The latest
 * CIMSIM_REMEMBERED released objects are kept to detect this. */
#define CIMSIM_REMEMBERED 4096u
void cimsim_count_misuse(int on);
unsigned long cimsim_misuses(void);
const char *cimsim_last_misuse(void);

#ifdef __cplusplus
}
#endif

#endif
