// protocol.h - frames between a program and its workers: shared by library and worker, which may be of
// different releases with one soname. docs/companion-protocol.md describes the sequence of frames.
#ifndef XAVO_COMPANION_PROTOCOL_H
#define XAVO_COMPANION_PROTOCOL_H

#include <XAVO_companion.h>

#include <cstddef>

namespace xavo_companion {

// ---- Frames -------------------------------------------------------------------------------------

// Increase it only if old readers must not read new frames. A field that a reader may skip gets a new tag.
constexpr uint16_t PROTOCOL_VERSION = 1;
constexpr uint32_t LONGEST_FRAME = 64U << 20; // of the fields that follow a header

enum FrameType : uint16_t {
    FRAME_HELLO = 1, // worker: libxavo is loaded. No fields
    FRAME_FAILED =
        2, // worker, or the process that should become it: cannot serve. STATUS (errno or 0), MESSAGE
    FRAME_REQUEST = 3, // program
    FRAME_ANSWER = 4,  // worker
    FRAME_LOG = 5      // worker, at any time: LEVEL, MESSAGE
};

// All integers are in the byte order of the machine.
struct FrameHeader {
    uint16_t version;
    uint16_t type;
    uint32_t length;
};

// A field is a FieldHeader and its value: a number (uint32_t or uint64_t), text with the NUL that ends it, a
// record of XAVO_types.h, or more fields. A reader skips a tag that it does not know.
struct FieldHeader {
    uint16_t tag;
    uint16_t reserved; // 0
    uint32_t length;
};

enum Tag : uint16_t {
    // Request
    TAG_SEQUENCE = 1,  // number; the first field. The answer repeats it
    TAG_OPERATION = 2, // number
    TAG_DEADLINE = 3,  // 64 bits: milliseconds of CLOCK_MONOTONIC
    TAG_LEVEL = 4,     // number: log lines above it are not sent; 0 none. Of a log frame: the line's
    TAG_USER = 5,      // text, as are those up to TAG_REBOOT_TYPE
    TAG_ID = 6,
    TAG_CLASS_NAME = 7, // also of an instance
    TAG_NAME_SPACE = 8,
    TAG_START_TIME = 9,
    TAG_UNTIL_TIME = 10,
    TAG_URI = 11,
    TAG_REBOOT_TYPE = 12,
    TAG_JOB_IDS = 13, // texts (below)
    TAG_IMAGE = 14,   // XAVO_BAR_INPUT_DATA
    TAG_SHARE = 15,   // XAVO_NET_INPUT_DATA
    // Answer
    TAG_CODE = 32,         // number, as those up to TAG_LOST_LINES
    TAG_KIND = 33,         // NONE to ANSWER_UNUSABLE: the library adds the others
    TAG_STATUS = 34,       // the broker's; of FRAME_FAILED an errno
    TAG_RETURN_VALUE = 35, // missing: the method returned none
    TAG_UNREADABLE = 36,
    TAG_LOST_LINES = 37,
    TAG_FLAGS = 38,
    TAG_MESSAGE_ID = 39, // text, as the next two
    TAG_MESSAGE = 40,
    TAG_JOB_ID = 41,
    TAG_JOB = 42,      // ten texts, in the order of the members of XAVO_VELK_LifecycleJob after `next`
    TAG_INSTANCE = 43, // fields: CLASS_NAME, and PROPERTY for each
    // Texts: name; type; "a" for an array, "n" for null, "an" or ""; then the value, or the array's elements,
    // which may be NULL.
    TAG_PROPERTY = 44
};

enum Flags : uint32_t {
    FLAG_REPLACE = 1, // the worker uses too much memory
    FLAG_STALE = 2    // CONNECTION_LOST: on a connection that earlier calls used; nothing was invoked
};

// An operation that the protocol adds to those of the header: the worker only answers. Requested by prestart.
constexpr int OP_NOTHING = 0;
inline bool is_method(int operation) { return operation >= XAVO_OP_DELETE_JOB; }

// ---- Memory shared with a worker ----------------------------------------------------------------

enum Stage : uint32_t {
    STAGE_STARTING = 0, // loading libxavo
    STAGE_READY = 1,    // no call, or one that needs no connection
    STAGE_OPENING = 2,  // in XAVO_new_with_uname
    STAGE_OPEN = 3      // uses a connection
};

// At the start of the memory file that a worker inherits. All other bytes are zero.
struct Shared {
    uint32_t claim; // sequence of the call << 2 | Claim
    uint32_t stage; // written by the worker
};

enum Claim : uint32_t { CLAIM_OPEN = 1, CLAIM_WORKER = 2, CLAIM_CALLER = 3 };

// Called by the program before it sends the request. Each request to a worker has a new sequence.
inline void open_claim(Shared *shared, uint32_t sequence) {
    __atomic_store_n(&shared->claim, sequence << 2 | CLAIM_OPEN, __ATOMIC_SEQ_CST);
}

// Claims the invocation of a request's method, for the worker or for the caller. Returns true for the first
// claim only. The worker claims immediately before it invokes the method, and then always invokes it. The
// caller claims when it ends the call without an answer.
inline bool claim(Shared *shared, uint32_t sequence, Claim by) {
    uint32_t open = sequence << 2 | CLAIM_OPEN;
    return __atomic_compare_exchange_n(&shared->claim, &open, sequence << 2 | by, false, __ATOMIC_SEQ_CST,
                                       __ATOMIC_SEQ_CST);
}

// Whether the caller has claimed the request. The method is then not invoked.
inline bool is_callers(const Shared *shared, uint32_t sequence) {
    return __atomic_load_n(&shared->claim, __ATOMIC_SEQ_CST) == (sequence << 2 | CLAIM_CALLER);
}

inline void set_stage(Shared *shared, Stage stage) {
    __atomic_store_n(&shared->stage, stage, __ATOMIC_SEQ_CST);
}

// ---- What a worker inherits ---------------------------------------------------------------------

enum WorkerDescriptor {
    WORKER_SOCKET = 3, // a stream socket
    WORKER_SHARED = 4, // the memory file, at least sizeof(Shared) bytes
    WORKER_CALLER = 5  // a pidfd of the program; not open where the kernel has none
};

// Where the texts of a job's record are in it, in the order of TAG_JOB.
#define ROW(name) offsetof(XAVO_VELK_LifecycleJob, name),
constexpr uint8_t JOB_TEXTS[] = {XAVO_JOB_PROPERTIES(ROW)};
#undef ROW
inline char *&text_of(XAVO_VELK_LifecycleJob &job, uint8_t offset) {
    return *reinterpret_cast<char **>(reinterpret_cast<char *>(&job) + offset);
}
inline char *text_of(const XAVO_VELK_LifecycleJob &job, uint8_t offset) {
    return *reinterpret_cast<char *const *>(reinterpret_cast<const char *>(&job) + offset);
}

// ---- Encoding -----------------------------------------------------------------------------------

// Builds a frame, in memory that is wiped before it is freed. After a failure (no memory, a frame too long)
// further calls do nothing and finish() gives false.
class Writer {
public:
    explicit Writer(FrameType type);
    ~Writer();
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    void number(Tag tag, uint32_t value) { field(tag, &value, sizeof value); }
    void long_number(Tag tag, uint64_t value) { field(tag, &value, sizeof value); }
    void text(Tag tag, const char *value);                 // NULL: no field
    void record(Tag tag, const void *value, size_t size) { // NULL: no field
        if (value != nullptr)
            field(tag, value, size);
    }
    // Begins a field that consists of other fields or texts: those written until end(begin's result).
    size_t begin(Tag tag);
    void end(size_t begun);
    // One of the texts of TAG_JOB_IDS, TAG_JOB or TAG_PROPERTY; may be NULL.
    void item(const char *value);
    void job(const XAVO_VELK_LifecycleJob &job);

    // Completes the header. False: the frame cannot be sent.
    bool finish();
    bool ok() const { return !failed_; }
    // Of a frame that failed: it would have been too long.
    bool is_too_long() const { return too_long_; }
    char *data() { return data_; }
    size_t size() const { return size_; }
    // Removes everything after the first `size` bytes, and forgets a failure: for a part that does not fit.
    void truncate(size_t size);

private:
    void field(Tag tag, const void *value, size_t size);
    void bytes(const void *value, size_t size);
    bool grow(size_t more);

    char *data_ = nullptr;
    size_t size_ = 0, room_ = 0;
    bool failed_ = false, too_long_ = false;
};

void write_request(Writer *writer, const XAVO_Request &request, uint64_t deadline, int log_level);
// Sets the sequence of a finished request.
void set_sequence(char *frame, uint32_t sequence);

// ---- Decoding -----------------------------------------------------------------------------------

// A frame that was received: its fields, in place. Freed with free_frame.
struct Frame {
    uint16_t type;
    uint32_t length;
    void *block;   // what decode_answer adds
    size_t blocks; // its size
    Frame *next;   // of a list
    char *fields() { return reinterpret_cast<char *>(this + 1); }
};

// Wipes and frees a frame. NULL does nothing.
void free_frame(Frame *frame);

// Receives frames from a stream socket.
class Receiver {
public:
    enum Result {
        FRAME,   // one is complete
        AGAIN,   // nothing more to read, with MSG_DONTWAIT in the flags
        END,     // the other side is gone
        BROKEN,  // too long
        VERSION, // of another version
        NO_MEMORY
    };
    Receiver() = default;
    ~Receiver() { reset(); }
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    // Reads up to the end of one frame, and stores it in *frame. The caller frees it with free_frame.
    Result receive(int socket, int flags, Frame **frame);
    void reset(); // discards a frame that is not complete

private:
    FrameHeader header_ = {};
    Frame *frame_ = nullptr;
    size_t received_ = 0; // of header and fields
};

// Walks over fields that were received. Stops at the end, or at an invalid field: then ok() is false.
class Reader {
public:
    Reader(char *data, size_t size) : at_(data), end_(data + size) {}
    bool next(); // to the next field
    uint16_t tag() const { return tag_; }
    bool number(uint32_t *value) { return copy(value, sizeof *value); }
    bool long_number(uint64_t *value) { return copy(value, sizeof *value); }
    bool text(const char **value);                // stays in the frame
    bool record(const void **value, size_t size); // stays in the frame, not aligned
    Reader fields() const { return {value_, length_}; }
    // Of the texts inside a field: the next one, which may be NULL. False at the end, or when not valid.
    bool item(char **value);
    bool ok() const { return ok_; }
    bool fail() { return ok_ = false; }

private:
    bool copy(void *value, size_t size);
    char *at_, *end_;
    char *value_ = nullptr;
    uint32_t length_ = 0;
    uint16_t tag_ = 0;
    bool ok_ = true;
};

// A request as a worker receives it. Its pointers refer to the frame, or to memory that it owns.
struct ReceivedRequest {
    XAVO_Request request = {}; // its user is NULL when the request names none
    uint32_t sequence = 0;
    uint64_t deadline = 0;
    uint32_t log_level = 0;
    char **job_ids = nullptr;
    XAVO_BAR_INPUT_DATA image = {};
    XAVO_NET_INPUT_DATA share = {};

    ReceivedRequest() = default;
    ~ReceivedRequest(); // wipes
    ReceivedRequest(const ReceivedRequest &) = delete;
    ReceivedRequest &operator=(const ReceivedRequest &) = delete;
    // False: not valid, or no memory.
    bool decode(Frame *frame);
};

// Whether a request, which may lack members, holds a password, a passphrase, or a URI that may have one.
bool has_secret(const XAVO_Request &request);

// The fields of an answer that the program does not get.
struct AnswerExtra {
    uint32_t sequence;
    uint32_t flags;
};

enum DecodeResult { DECODED, DECODE_BROKEN, DECODE_NO_MEMORY };

// Decodes an answer, FAILED (status and message) or a log frame (message; the level as `status`). *answer is
// all zero before. On success it points into the frame, which is its storage. On failure it is all zero, and
// the caller frees the frame.
DecodeResult decode_answer(Frame *frame, XAVO_Answer *answer, AnswerExtra *extra);

} // namespace xavo_companion

#endif
