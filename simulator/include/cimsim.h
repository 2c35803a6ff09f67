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
 *  5. Start. A process starts with the controller that its environment names, or else with the
 *     demonstration controller: a few jobs, software identities and shares (see cimsim_load_demo). The first
 *     call of a function of this header replaces a controller that the environment names with the
 *     demonstration controller, so that a test never changes a shared controller. Exceptions are the
 *     functions that only make values, and cimsim_use_state, which attaches the process to a state. Tests
 *     begin with cimsim_reset().
 *  6. Slots. Slots are named as in the function tables: "CMPIArgs.addArg", "CMCIClient.invokeMethod",
 *     "CMPIString.release"; the constructors by their own names: "cmciConnect". An unknown name aborts with
 *     a message, because a fault planned for it would never be injected.
 *
 * Environment, read when the library is loaded, for processes that do not call this header (see Start)
 *  CIMSIM_SCENE   the controller with which the process starts: switches, or a scene.
 *                 Switches are separated by commas: "lockdown", "unreachable" (no broker), "refuse=NAME"
 *                 (the broker refuses this user; NAME is the name that it receives: "guest01ff"), "empty"
 *                 (as after cimsim_reset). A value that contains a line end is the text of a scene. If a
 *                 value has words that are not switches, and contains a slash or names an existing file, it
 *                 is the path of a file with that text. xavo-scene(5) describes the text. An error in it ends
 *                 the program when it connects; standard error names the line. An unknown switch is
 *                 reported on standard error and ignored.
 *  CIMSIM_STATE   a file that holds the controller: all processes that name it share the same one.
 *                 It holds the clock, jobs, software, shares, classes, limits, refused users, switches,
 *                 scripted answers, added elements, and faults, which count the calls of all processes. It
 *                 also holds the broker's generation: a client that connected before a restart is on a dead
 *                 connection, whichever process restarted the broker. Each process has its own traces
 *                 and counts. Every exchange, every call while faults are planned, and every function here
 *                 locks FILE.lock, and reads the file again if another process has changed it. If the
 *                 call then changes the controller, it writes the whole file as FILE.new, and renames that.
 *                 FILE.new and FILE.lock get the owner, group, permissions and access control list of FILE,
 *                 or fewer permissions if the process may not set one of these. If FILE did not exist, only
 *                 its owner can access it, because it contains passwords. FILE.lock gets the permissions of
 *                 FILE when the owner of FILE.lock or root uses the state: after a chmod that gives others
 *                 access to FILE, use the state once yourself.
 *                 No process has the lock while it delays an answer (cimsim_hold_answers). If the file
 *                 does not exist, it is created from the controller with which the process started. A file
 *                 that contains an error, or cannot be read or written, is not changed: standard error says
 *                 why, connecting gives NULL, and exchanges give rc 1. A value without a notation (an unknown
 *                 type code, an array under another type) is not written, and is lost when the file is
 *                 read again. */
#ifndef CIMSIM_H
#define CIMSIM_H

#include <CimClientLib/cmcidt.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The controller as a whole ---------------------------------------------------------------------- */

/* Empties the controller: no jobs, identities, shares, scripted answers, faults or refused users; every
 * switch off, every counter, trace and record empty, the clock following the wall clock. Objects and clients
 * that the program holds are kept. Objects that were lost when the last client was released are no longer
 * counted. */
void cimsim_reset(void);

/* Adds the demonstration controller's contents: jobs "JID_1" to "JID_3" (none is running: any of them can be
 * scheduled or deleted), identities "IDENTITY:BIOS" and "IDENTITY:NIC", and on the server "192.0.2.10"
 * the shares "backups" (type 2, user "operator", password "secret") and "public" (type 0). */
void cimsim_load_demo(void);

/* Attaches the process to the state in the file `path`, as CIMSIM_STATE does (see Environment). If the file
 * does not exist, it is created from the process's controller. NULL or "": detaches the process from its
 * state; it keeps a private copy of the controller as it was last read. If this is the first function that
 * is called, a scene that the environment names remains in effect. Open clients stay connected, and answers
 * that are held back are returned. Sets or clears CIMSIM_STATE in the environment of the process, and clears
 * CIMSIM_SCENE. Returns 0, or -1 if the state cannot be read or written: standard error and
 * cimsim_state_error say why. The process is attached in that case, too, and can connect as soon as the
 * state can be used. */
int cimsim_use_state(const char *path);

/* ---- Time --------------------------------------------------------------------------------------- */

/* on: freezes the time, so that only cimsim_advance moves it. off: the time follows the wall clock again and
 * continues from its current value. Times in text form, yyyymmddhhmmss, are in UTC. */
void cimsim_freeze_time(int on);
void cimsim_advance(unsigned int seconds);

/* ---- Values ------------------------------------------------------------------------------------- */

/* A description from which the simulator makes CMPI values when it hands them out. */
typedef struct cimsim_value cimsim_value;

/* A CMPI_string; NULL: a string object whose character pointer is NULL. */
cimsim_value *cimsim_string(const char *characters);
/* A CMPI_chars: handed out as memory from malloc, which its receiver frees. */
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
/* An array of `count` elements of type `type`. NULL among `elements`: an element that was never set. */
cimsim_value *cimsim_array(CMPIType type, unsigned int count, cimsim_value *const *elements);
/* The null value of a type: state CMPI_nullValue. As with the real library a null CMPI_string still
 * comes with a string object, one without characters. */
cimsim_value *cimsim_null(CMPIType type);
/* A value whose state is good and whose pointer is NULL. */
cimsim_value *cimsim_no_object(CMPIType type);
/* Change the state or the type code of a value, and return the same value. The type code decides how the
 * value is handed out:
 *   - a string, a reference, an instance or an array: as NULL if the value is of another kind;
 *   - chars: as NULL if the value is neither chars nor a string;
 *   - CMPI_args, CMPI_class, CMPI_enumeration or CMPI_dateTime: as an object of any kind, which can be
 *     released. */
cimsim_value *cimsim_with_state(cimsim_value *value, CMPIValueState state);
cimsim_value *cimsim_with_type(cimsim_value *value, CMPIType type);
/* The value that a text denotes in the notation of xavo-scene(5): uint32:5, string:"text",
 * array:"uint16 1 2", reference:"root/velk VELK_LifecycleJob InstanceID=string:JID_1", null:uint32. "lacking"
 * gives NULL. A text that is not valid aborts with a message, as an unknown slot does. */
cimsim_value *cimsim_parse_value(const char *text);
/* The type that a name denotes in that notation: "uint32", "string"; "string[]" for an array of strings. An
 * unknown name aborts with a message. */
CMPIType cimsim_type_named(const char *name);
/* The notation of a value that the client library handed out; "TYPE:object" for an object without a notation.
 * The objects of the value must not have been released. This does not count as a call into the client
 * library: nothing is counted, traced or pooled. */
const char *cimsim_value_text(const CMPIData *data);
/* Frees a value that was not handed over. NULL is accepted. */
void cimsim_discard(cimsim_value *value);

/* ---- Jobs --------------------------------------------------------------------------------------- */

typedef struct cimsim_job {
    const char *InstanceID;
    const char *Name;
    const char *JobStatus;    /* "New", "Scheduled", "Running", "Completed", "Failed" */
    const char *JobStartTime; /* the time that was given to SetupJobQueue; "NOW" if it started at once */
    const char *JobUntilTime; /* empty when there is none */
    unsigned int PercentComplete;
} cimsim_job;

/* Adds a job that starts `start` seconds from now, runs for `runs` seconds and then completes or,
 * when `fails` is not 0, fails halfway. CIMSIM_NEVER as `start`: it waits until SetupJobQueue schedules it.
 * Returns 0, or -1 if a job with that InstanceID exists. */
#define CIMSIM_NEVER 0xffffffffu
int cimsim_add_job(const char *InstanceID, const char *name, unsigned int start, unsigned int runs,
                   int fails);

/* Replaces one property of a job's instance permanently; NULL: the instance lacks it. The job need not exist
 * yet: services name the jobs that they start "JID_1", "JID_2" and so on, and skip names in use. */
void cimsim_set_job_property(const char *InstanceID, const char *property, cimsim_value *value);

/* Describes the next job that a service starts: it runs for `runs` seconds (CIMSIM_USUAL: 3 s for an
 * installation or a reboot, 5 s for a backup or a restore); if `fails` is not 0, it fails halfway, with
 * `message` as its message (NULL: the usual one). Each further call is for the job after that. */
#define CIMSIM_USUAL 0xffffffffu
void cimsim_next_job(unsigned int runs, int fails, const char *message);

unsigned int cimsim_job_count(void);
/* The index-th job, in the order of creation. Returns 0, or -1 past the end. */
int cimsim_job_at(unsigned int index, cimsim_job *job);

/* Inserts this value into every enumeration of instances, before its index-th instance or at its end. Values
 * with the same index keep the order in which they were added. */
void cimsim_add_element(unsigned int index, cimsim_value *value);

/* ---- Services ----------------------------------------------------------------------------------- */

/* clang-format off */
/* Answers of the services. If an integer parameter (RebootJobType, ShareType and the like) is given as text,
 * the client library converts digits up to 65535 to an integer. It sends other text unchanged, and the
 * service refuses that. A query (execQuery) returns no instances. The client's other slots,
 * createInstance, setInstance, deleteInstance, enumInstanceNames and getProperty among them, send their
 * request, and the answer is rc 7 without a message. Jobs that the services start take 3 s for an
 * installation or a reboot and 5 s for a backup or a restore. Times are "NOW" or yyyymmddhhmmss in UTC, not
 * in the past. An installation with an unknown target gives the status NOT_FOUND. A method that refuses a
 * request returns 2 and sets the outputs "MessageID" and "Message":
 *   VELK_JobService     JQ001 unknown job, JQ002 a running job cannot be deleted, JQ003 only a new or a
 *                       scheduled job can be scheduled, JQ004 start time, JQ005 until time (not valid, or
 *                       before the start), JQ006 missing parameter
 *   VELK_SoftwareInstallationService
 *                       SWI001 scheme of the URI, SWI002 type of reboot job (1 graceful, 2 forced), KTB017
 *                       too many jobs, PXN095 lockdown
 *   VELK_QMService      QM016 missing parameter, QM017 invalid value (share type, credentials), QM023
 *                       unknown share, QM051 another backup and QM052 another restore is scheduled, WUD017
 *                       start time, WUD018 until time, KTB018 a backup and KTB019 a restore is running,
 *                       KTB017 too many jobs, PXN095 lockdown (not for the share test) */
/* clang-format on */

/* Adds a software identity. `name` or `version` NULL: an empty text. */
void cimsim_add_software_identity(const char *InstanceID, const char *name, const char *version);
/* Adds a share that can be reached. `user` NULL: it needs no credentials. */
void cimsim_add_share(const char *address, const char *name, unsigned int type, const char *user,
                      const char *password);
void cimsim_set_lockdown(int on);
/* Sets the highest number of jobs that the controller holds; CIMSIM_NO_LIMIT: any number. */
#define CIMSIM_USUAL_JOB_LIMIT 256u
#define CIMSIM_NO_LIMIT 0u
void cimsim_set_job_limit(unsigned int jobs);

/* ---- Added classes ------------------------------------------------------------------------------ */

/* Adds a class to the namespace "root/velk". `keys`: the names of its keys, and NULL at the end. Returns 0,
 * or -1 if a class of that name exists. */
int cimsim_add_class(const char *name, const char *const *keys);

/* Adds an instance of a class that was added: `count` properties, its keys among them, by name and value.
 * Returns 0, or -1 when no such class was added or a key is missing. */
int cimsim_add_instance(const char *class_name, unsigned int count, const char *const *names,
                        cimsim_value *const *values);

/* ---- The broker --------------------------------------------------------------------------------- */

/* off: the broker does not run. cmciConnect fails with rc 1, and all open connections, in any process that
 * shares the state, are dead, as after a restart; they stay dead when the broker runs again. on: the broker
 * runs. cmciConnect works in local mode only (host "localhost", no scheme, no port, and "SfcbLocal" in the
 * environment variable SFCC_CLIENT); otherwise it fails, and standard error says why. */
void cimsim_set_reachable(int on);
/* Calls by this user, named as the broker sees it ("guest01ff"), are answered with ACCESS_DENIED. */
void cimsim_refuse_user(const char *user);
/* Holds every answer back for this much simulated time: while the time is frozen, until cimsim_advance has
 * moved it that far. cimsim_reset returns all answers that are held back. */
void cimsim_hold_answers(unsigned int milliseconds);
/* on: sets arbitrary bits above the low 32 in every uint32 that a method returns. */
void cimsim_set_garbage(int on);

/* Restarts the broker. `pipes` is a combination of the bits below. Each names calls that write to the dead
 * socket and so raise SIGPIPE in the calling thread.
 *
 * CIMSIM_PIPE_CALLS: every exchange, until every client was released and a new one connects. All but
 * invokeMethod then give rc 1 with the message "Internal error - -1\n" (a backslash and an n, no end of
 * line). invokeMethod is misuse, since the real library crashes in it, and gives rc 1 if misuse is counted.
 * Connecting while another client is open still succeeds, and releasing a client raises no signal.
 * CIMSIM_PIPE_CONNECT: every cmciConnect while a client is open, or only the next one if none is open. It
 * returns NULL.
 * CIMSIM_PIPE_RELEASE: the release of a client. The real library was not observed to raise the signal in
 * these two cases: use them to test that a program blocks it.
 * 0: undoes a restart: open connections work again. */
#define CIMSIM_PIPE_CALLS 1u
#define CIMSIM_PIPE_CONNECT 2u
#define CIMSIM_PIPE_RELEASE 4u
void cimsim_restart_broker(unsigned int pipes);

/* Sets how long the release of the last client takes. The real library sometimes crashes if a thread ends
 * while another thread releases the process's last client: the end of the thread runs code that is being
 * unloaded. With a value other than 0, the release waits up to this many milliseconds of real time if other
 * threads have used the client library since the first client connected. It is misuse if one of these threads
 * ends during that time. To avoid it, keep one client open until all threads are joined. 0 (the default, also
 * after cimsim_reset): the release returns at once, and this misuse is not detected. */
void cimsim_set_unload_time(unsigned int milliseconds);

/* Why the state cannot be read or written; NULL if it can, and if there is none. */
const char *cimsim_state_error(void);

/* Number of exchanges that began on a client while another was running on it. */
unsigned long cimsim_overlaps(void);

/* ---- The last request --------------------------------------------------------------------------- */

typedef struct cimsim_item {
    const char *name;
    CMPIType type; /* the type that was given to addKey or addArg: CMPI_chars, not CMPI_string */
    /* As it was sent: characters; numbers in decimal, also when digits were given as text for an integer;
     * arrays as [a,b]; references as ns:Class.Key="v". */
    const char *text;
    /* The same in the notation of xavo-scene(5); chars:text for a string that was given as CMPI_chars. */
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

/* The last request that reached the broker since cimsim_reset, or NULL; valid as long as a string
 * that a function returns (see Strings). */
const cimsim_request *cimsim_last_request(void);
/* Number of requests that have reached the broker since cimsim_reset. */
unsigned long cimsim_request_count(void);

/* ---- The journal -------------------------------------------------------------------------------- */

/* on: starts a new journal of every request that reaches the broker, from all processes that share the state;
 * off: ends the journal. Each process appends to FILE.journal; without a state the journal is in memory. */
void cimsim_journal(int on);

typedef struct cimsim_journal_entry {
    long process; /* the identifier of the process that sent it */
    const char *operation, *user, *class_name;
    const char *method;  /* empty when the operation is not invokeMethod */
    const char *subject; /* the first argument of a method, or the first key, as text; else empty */
    CMPIrc rc;           /* the answer's status */
    int has_returned;    /* 1: a method returned a uint32 */
    unsigned int returned;
} cimsim_journal_entry;

/* Number of entries in the journal. */
unsigned long cimsim_journal_count(void);
/* The index-th entry. Returns 0, or -1 past the end. */
int cimsim_journal_at(unsigned long index, cimsim_journal_entry *entry);

/* ---- Scripted answers --------------------------------------------------------------------------- */

/* Set the return value, an output and the status of a scripted answer, which replaces the answer to the next
 * invokeMethod; neither the service nor the list of refused users is consulted. cimsim_answer_then begins the
 * answer to the invokeMethod after that. Defaults: rc 0 without a message, no outputs, and a return value of
 * uint32 0, or with a failing status no value (type 0, state CMPI_notFound). The caller owns a returned
 * object if its state is CMPI_goodValue or CMPI_keyValue; otherwise the thread's pool owns it, because a
 * caller that checks the state does not free it. */
void cimsim_answer_return(cimsim_value *value);
void cimsim_answer_output(const char *name, cimsim_value *value);
/* `message` NULL: no message object. Unlike with cimsim_fail, the return value and the outputs are still
 * handed out. */
void cimsim_answer_status(CMPIrc rc, const char *message);
/* Ends one answer and begins the next. */
void cimsim_answer_then(void);

/* ---- Faults ------------------------------------------------------------------------------------- */

#define CIMSIM_EVERY_SLOT ((const char *)0)
#define CIMSIM_TAKE_BACK 0ul /* as nth: removes all planned faults */

typedef struct cimsim_fault {
    CMPIrc rc;           /* 0: the call reports success, but hands out nothing */
    const char *message; /* NULL: no message object */
    int with_result;     /* not 0: the call does its work and hands out its result, but reports rc */
} cimsim_fault;

/* Makes the nth call from now of this slot fail once, n counted from 1; CIMSIM_EVERY_SLOT counts every call
 * into the client library. A call that fails without a result does nothing: a value is not stored, an
 * enumeration does not advance, a request is not sent. A call that has no status only hands out nothing
 * (NULL, 0, no element). A release that fails still releases the object, and has no message.
 * Each planned fault counts the calls since it was planned. If two are due in one call, the older is
 * injected, and the other in the next call of its slot. CIMSIM_TAKE_BACK as nth removes all planned faults.
 */
void cimsim_fail(const char *slot, unsigned long nth, const cimsim_fault *fault);
/* The same, and every call after the nth as well. */
void cimsim_fail_from(const char *slot, unsigned long nth, const cimsim_fault *fault);
/* CIMSIM_HANG: the call does not return; if its own process calls cimsim_reset, the call fails with rc 1.
 * CIMSIM_CRASH: SIGSEGV ends the process.
 * CIMSIM_EXIT: the process calls exit with the status 1.
 * CIMSIM_RESTART: the broker restarts, as by cimsim_restart_broker(CIMSIM_PIPE_CALLS). */
#define CIMSIM_HANG 1
#define CIMSIM_CRASH 2
#define CIMSIM_EXIT 3
#define CIMSIM_RESTART 4

/* Plans one of these events, `what`, for the nth call from now of this slot, counted as by cimsim_fail. It
 * happens before the call does its work, or, if `after` is not 0, after it: in an exchange, after the
 * controller has carried out the request and before the answer arrives. */
void cimsim_disrupt(const char *slot, unsigned long nth, int what, int after);
/* The slot in which the latest fault was injected; NULL if none was injected since the last one was
 * planned. */
const char *cimsim_fault_hit(void);

/* ---- Recorded calls ----------------------------------------------------------------------------- */

/* Calls of one slot, or of all for CIMSIM_EVERY_SLOT, since cimsim_reset. */
unsigned long cimsim_calls(const char *slot);

/* on: starts a new record of every call; off: ends the record. */
void cimsim_trace(int on);
/* The record: one word per call, separated by blanks, "newCMPIObjectPath=CMPIObjectPath#1
 * CMPIObjectPath#1.addKey CMPIArgs#2.release"; objects are numbered by kind from 1, in the order in
 * which they first appear in the record. A constructor that makes nothing is "native_new_CMPIArgs=NULL".
 * An object that a slot hands out gets its number when it is first used. */
const char *cimsim_traced(void);

/* ---- Workers ------------------------------------------------------------------------------------- */

/* A program may start workers, which run the client library for it in processes of their own. They share the
 * program's controller only if it is in a state; the environment that they inherit names the file. Functions
 * of this header that attach the process to another controller therefore set or clear CIMSIM_STATE and
 * CIMSIM_SCENE in its environment.
 *
 * A library that starts workers calls this function, if the process has it: with 1 before it copies the
 * environment for a pool of workers, and with -1 after it has freed a pool. A process without a state then
 * gets a private one in $TMPDIR (else /tmp), with the contents of its controller; it is removed when the
 * process ends by exit. Attaching the process to another controller while a pool exists aborts with a
 * message. The simulator's folder is put at the front of LD_LIBRARY_PATH, so that workers load the simulator,
 * and CIMSIM_ONLY is set, so that they refuse another client library. */
void XAVO_pools_changed(int change);

/* ---- Accounting --------------------------------------------------------------------------------- */

/* Number of objects that the program owns and has not released, clients included. An array that the program
 * made frees an element when it is overwritten. An array that was read back (getArg, a property) does not:
 * the program then owns the element, which is counted here until it is released. */
unsigned long cimsim_owned(void);
/* Number of objects in the pools of all threads. The pool of a thread owns the objects that the thread has
 * read from other objects, among them the object of a null string. A pool is emptied when its thread releases
 * the process's last client, or ends while a client is open. When another thread releases the last client,
 * the pool's objects are lost: they are counted until cimsim_reset, and their use is misuse. */
unsigned long cimsim_pooled(void);
/* Names of the owned and the pooled objects, separated by blanks: for the message of a failing test. */
const char *cimsim_live(void);

/* Misuse is:
 *   - a second release of an object. The release of a container also releases its elements, and an array
 *     that the program made releases an element that is overwritten;
 *   - the use of an object after its release, or after the release of the last client;
 *   - a constructor without an open client;
 *   - the release of a pooled object on a thread that did not read it;
 *   - invokeMethod without a status, without input arguments, without output arguments for a method that has
 *     outputs, of an unknown class or namespace, or on a dead connection;
 *   - a list of properties in enumInstances or getInstance;
 *   - the end of a thread while another thread releases the last client (see cimsim_set_unload_time).
 * Misuse aborts with a message that names the object. on: misuse is counted instead, from 0. The call then
 * does nothing and gives rc 1, or rc 6 for an unknown class; but invokeMethod without output arguments runs
 * the method. The last CIMSIM_REMEMBERED released objects are kept to detect misuse. */
#define CIMSIM_REMEMBERED 4096u
void cimsim_count_misuse(int on);
unsigned long cimsim_misuses(void);
const char *cimsim_last_misuse(void);

#ifdef __cplusplus
}
#endif

#endif
