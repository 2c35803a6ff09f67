// call.cpp - the states of a call: the transitions, the repetitions, and the end.
#include "call.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace xavo_companion {

namespace {

constexpr uint64_t USUAL_READ_MS = 5000, USUAL_METHOD_MS = 60000;
constexpr uint64_t FIRST_RETRY_MS = 20, LONGEST_RETRY_MS = 1000;
constexpr unsigned int MOST_REPEATS = 3;
// Limit of the bytes that receive() reads at once; each frame adds FRAME_COST to them. It is more than a
// socket holds, so that an answer behind many lines of the log is read.
constexpr size_t MOST_AT_ONCE = 512U << 10, FRAME_COST = 256;

// Whether a call may go from one state to another.
bool may_follow(State state, State next) {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a term of a sum
#define ROW(from, to) +(1ULL << ((from)*8 + (to)))
    constexpr uint64_t TRANSITIONS = XAVO_CALL_TRANSITIONS(ROW);
#undef ROW
    return (TRANSITIONS >> (state * 8 + next) & 1) != 0;
}

void move(XAVO_Call *call, State next) {
    if (!may_follow(call->state, next))
        __builtin_trap(); // a method might be invoked twice
    call->state = next;
}

// Whether a request is with a worker.
bool is_out(const XAVO_Call &call) { return call.state == SENDING || call.state == WAITING; }
bool is_read(const XAVO_Call &call) { return !is_method(call.operation); }

XAVO_ErrorCode code_of(int kind) {
    return kind == XAVO_KIND_NO_WORKER || kind == XAVO_KIND_NO_BROKER || kind == XAVO_KIND_BUSY
               ? XAVO_UNABLE_TO_OPEN_CONNECTION
               : XAVO_UNKNOWN_ERROR;
}

// Removes control characters, and escapes such as a backslash and an n, from the end of a text in a frame.
void trim(const char *message) {
    if (message == nullptr)
        return;
    auto *text = const_cast<char *>(message);
    size_t length = strlen(text);
    while (length > 0) {
        const auto last = static_cast<unsigned char>(text[length - 1]);
        if (last <= ' ' || last == 0x7f)
            --length;
        else if (length > 1 && text[length - 2] == '\\' && (last == 'n' || last == 'r' || last == 't'))
            length -= 2;
        else
            break;
    }
    text[length] = '\0';
}

// ---- What is watched ----------------------------------------------------------------------------

// Watches the worker of a call that does not block. 0, or an errno.
int watch(XAVO_Call *call, int operation, uint32_t events) {
    const Process &process = call->worker->process;
    epoll_event event = {}, end = {};
    event.events = events;
    end.events = EPOLLIN;
    const bool failed =
        is_adopted(call->epoll) && is_ours(process) &&
        (epoll_ctl(call->epoll, operation, process.socket, &event) != 0 ||
         (is_adopted(process.pidfd) && epoll_ctl(call->epoll, operation, process.pidfd, &end) != 0));
    return failed ? errno : 0;
}

constexpr uint64_t NEVER = 0, AT_ONCE = 1; // long past

void set_timer(XAVO_Call *call, uint64_t at) {
    if (call->timer_at == at || !is_adopted(call->timer))
        return;
    call->timer_at = at;
    itimerspec time = {};
    time.it_value = timespec_of(at);
    timerfd_settime(call->timer, TFD_TIMER_ABSTIME, &time, nullptr);
}

// ---- Workers ------------------------------------------------------------------------------------

void drop_process(XAVO_Call *call) {
    watch(call, EPOLL_CTL_DEL, 0);
    end_worker(call->worker);
}

// Claims the invocation of the request that is out, so that its method cannot be invoked any more. Returns
// whether the worker has claimed it already: then the method was invoked, or will be.
bool claimed_by_worker(XAVO_Call *call) {
    if (!is_out(*call) || is_read(*call))
        return false;
    Shared *shared = call->worker->process.shared;
    claim(shared, call->worker->sequence, CLAIM_CALLER);
    return !is_callers(shared, call->worker->sequence);
}

// ---- The end ------------------------------------------------------------------------------------

// `call->answer` is complete. `keep`: its worker can serve another call.
void end(XAVO_Call *call, bool keep) {
    if (call->worker != nullptr) {
        if (keep)
            watch(call, EPOLL_CTL_DEL, 0);
        else
            drop_process(call);
        give_worker_back(call->pool, call->worker);
        call->worker = nullptr;
    }
    call->request.truncate(0);
    move(call, ENDED);
    call->answer.attempts = call->attempts;
    call->answer.lost_lines = call->lost_lines;
}

// Stores how an attempt ended that brought no answer. The message of an earlier attempt is kept.
void note_end(XAVO_Call *call, int kind, int status, int effect) {
    call->answer.kind = kind;
    call->answer.code = code_of(kind);
    call->answer.status = status;
    call->answer.effect = effect;
}

// Ends the call without an answer.
void end_without_answer(XAVO_Call *call, int kind, const char *words = nullptr, const char *subject = "",
                        int status = 0) {
    const bool invoked = call->worker != nullptr && claimed_by_worker(call);
    if (invoked && kind == XAVO_KIND_NO_WORKER) // the worker has started: it claimed a method
        kind = XAVO_KIND_ANSWER_UNUSABLE;
    if (words != nullptr || status != 0 || call->answer.message == nullptr) {
        XAVO_answer_free(&call->answer);
        fail_answer(&call->answer, kind, words, subject, status);
    }
    note_end(call, kind, status, invoked ? XAVO_EFFECT_UNKNOWN : XAVO_EFFECT_NONE);
    end(call, call->state == PAUSED);
}

// If `words` is NULL, the text of the errno `status` is used.
void end_without_worker(XAVO_Call *call, const char *words, int status = 0) {
    end_without_answer(call, XAVO_KIND_NO_WORKER, words, call->pool->argv[0], status);
}

void attempt(XAVO_Call *call);

void pause_until(XAVO_Call *call, uint64_t at) {
    move(call, PAUSED);
    call->resume_at = at;
}

// Repeats the call after an attempt that had no effect, if it may be repeated; else ends it. The result of
// the attempt is in call->answer. `at_once`: a repetition needs no pause. `keep`: the worker can serve
// another call.
void repeat_or_end(XAVO_Call *call, bool at_once, bool keep) {
    const bool starting = call->pool->retries_broker && (call->answer.kind == XAVO_KIND_NO_BROKER ||
                                                         call->answer.kind == XAVO_KIND_CONNECTION_LOST);
    const uint64_t now = now_ms();
    if (at_once && call->repeats < MOST_REPEATS) {
        ++call->repeats;
        call->resume_at = now;
    } else {
        const uint64_t left = call->deadline > now ? call->deadline - now : 0;
        call->pause = call->pause == 0 ? FIRST_RETRY_MS : call->pause * 2;
        if (call->pause > LONGEST_RETRY_MS)
            call->pause = LONGEST_RETRY_MS;
        if (keep && call->pause > left / 2) // up to the deadline, where no worker has to be started
            call->pause = left / 2;
        if (!starting || call->pause < FIRST_RETRY_MS / 2 || call->pause >= left) {
            end(call, keep);
            return;
        }
        call->resume_at = now + call->pause;
    }
    if (keep)
        watch(call, EPOLL_CTL_DEL, 0);
    else
        drop_process(call);
    pause_until(call, call->resume_at);
    if (call->resume_at <= now)
        attempt(call);
}

void worker_died(XAVO_Call *call) {
    const Shared *shared = call->worker->process.shared;
    const uint32_t stage = __atomic_load_n(&shared->stage, __ATOMIC_SEQ_CST);
    note_death(call->pool);
    if (claimed_by_worker(call))
        return end_without_answer(call, XAVO_KIND_CRASHED);
    if (stage == STAGE_STARTING)
        return end_without_worker(call, "the worker ended before it was ready");
    note_end(call, stage == STAGE_OPENING ? XAVO_KIND_NO_BROKER : XAVO_KIND_CRASHED, 0, XAVO_EFFECT_NONE);
    repeat_or_end(call, is_read(*call), false);
}

// ---- Answers ------------------------------------------------------------------------------------

// The effect of an answer; -1 if the answer contradicts the claim.
int effect_of(const XAVO_Call &call, const XAVO_Answer &answer, bool invoked) {
    const bool answered = answer.kind == XAVO_KIND_NONE || answer.kind == XAVO_KIND_SERVICE ||
                          answer.kind == XAVO_KIND_BROKER || answer.kind == XAVO_KIND_ANSWER_UNUSABLE;
    if (is_read(call))
        return answered ? XAVO_EFFECT_ANSWERED : XAVO_EFFECT_NONE;
    if (!invoked)
        return answer.kind == XAVO_KIND_NONE || answer.kind == XAVO_KIND_SERVICE ? -1 : XAVO_EFFECT_NONE;
    if (!answered)
        return -1;
    return answer.kind == XAVO_KIND_BROKER && answer.status == 1 ? XAVO_EFFECT_UNKNOWN : XAVO_EFFECT_ANSWERED;
}

void end_unusable(XAVO_Call *call, bool memory_ran_out) {
    end_without_answer(call, XAVO_KIND_ANSWER_UNUSABLE,
                       memory_ran_out ? "no memory for the answer" : "the worker's answer is not valid");
    if (memory_ran_out)
        call->answer.code = XAVO_OUT_OF_MEMORY;
}

void take_answer(XAVO_Call *call, Frame *frame) {
    XAVO_Answer answer = {};
    AnswerExtra extra;
    const DecodeResult result = decode_answer(frame, &answer, &extra);
    if (result == DECODED && extra.sequence == call->worker->sequence && answer.kind >= XAVO_KIND_NONE &&
        answer.kind <= XAVO_KIND_ANSWER_UNUSABLE &&
        (answer.kind == XAVO_KIND_NONE) == (answer.code == XAVO_NO_ERROR)) {
        const int effect = effect_of(*call, answer, claimed_by_worker(call));
        if (effect >= 0) {
            answer.effect = effect;
            if (answer.kind != XAVO_KIND_NONE && answer.kind != XAVO_KIND_SERVICE)
                trim(answer.message);
            XAVO_answer_free(&call->answer);
            call->answer = answer;
            call->lost_lines += answer.lost_lines;
            note_answer(call->pool);
            const bool lost = answer.kind == XAVO_KIND_CONNECTION_LOST;
            const bool keep = !lost && !call->secret && (extra.flags & FLAG_REPLACE) == 0 &&
                              call->worker->sequence < MOST_CALLS_OF_A_WORKER;
            if (effect == XAVO_EFFECT_NONE)
                repeat_or_end(call, lost && (is_read(*call) || (extra.flags & FLAG_STALE) != 0), keep);
            else
                end(call, keep);
            return;
        }
    }
    free_frame(frame);
    end_unusable(call, result == DECODE_NO_MEMORY);
}

void take_failure(XAVO_Call *call, Frame *frame) {
    XAVO_Answer failure = {};
    AnswerExtra extra;
    if (decode_answer(frame, &failure, &extra) != DECODED) {
        free_frame(frame);
        end_without_worker(call, "the worker's answer is not valid");
        return;
    }
    trim(failure.message);
    end_without_worker(call, failure.message, failure.status);
    XAVO_answer_free(&failure);
}

void keep_line(XAVO_Call *call, Frame *frame) {
    *call->log_end = frame;
    call->log_end = &frame->next;
}

// ---- One attempt --------------------------------------------------------------------------------

// Sends what the socket takes.
void send_request(XAVO_Call *call) {
    while (call->sent < call->request.size()) {
        const ssize_t count = send(call->worker->process.socket, call->request.data() + call->sent,
                                   call->request.size() - call->sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) // EAGAIN, or the worker died: its last frames are read first
            return;
        call->sent += static_cast<size_t>(count);
    }
    move(call, WAITING);
}

// Whether an idle worker still lives. Its socket may have unread lines of the log.
bool lives(const Worker &worker) {
    return is_ours(worker.process) && !wait_for_process(worker.process, 0, 0);
}

void attempt(XAVO_Call *call) {
    Worker *worker = call->worker;
    if (worker->process.socket >= 0 && !lives(*worker)) {
        end_worker(worker);
        note_death(call->pool);
    }
    int error = 0;
    if (worker->process.socket < 0) {
        uint64_t may_start_at;
        {
            const Locked locked(&call->pool->lock);
            may_start_at = call->pool->may_start_at;
        }
        if (now_ms() < may_start_at) {
            pause_until(call, may_start_at);
            return;
        }
        error = start_process(&worker->process, call->pool->argv, call->pool->environment);
    }
    if (error == 0)
        error = watch(call, EPOLL_CTL_ADD, EPOLLIN);
    if (error != 0) {
        end_without_worker(call, nullptr, error);
        return;
    }
    move(call, SENDING);
    call->sent = 0;
    ++call->attempts;
    ++worker->sequence;
    set_sequence(call->request.data(), worker->sequence);
    open_claim(worker->process.shared, worker->sequence);
    send_request(call);
    if (call->state == SENDING)
        watch(call, EPOLL_CTL_MOD, EPOLLIN | EPOLLOUT);
}

// Reads the worker's frames, up to the answer, but at most MOST_AT_ONCE bytes: a worker may send without end.
void receive(XAVO_Call *call) {
    bool ended = false;
    size_t read = 0;
    while (is_out(*call) && read < MOST_AT_ONCE) {
        Frame *frame = nullptr;
        switch (call->worker->receiver.receive(call->worker->process.socket, MSG_DONTWAIT, &frame)) {
        case Receiver::AGAIN:
            if (ended)
                return worker_died(call);
            ended = has_ended(call->worker->process);
            if (!ended)
                return;
            break; // what it sent before its end is read first
        case Receiver::END:
            worker_died(call);
            return;
        case Receiver::VERSION:
            end_without_worker(call, "the worker speaks another protocol");
            return;
        case Receiver::BROKEN:
            end_unusable(call, false);
            return;
        case Receiver::NO_MEMORY:
            end_unusable(call, true);
            return;
        case Receiver::FRAME:
            read += FRAME_COST + frame->length;
            if (frame->type == FRAME_ANSWER)
                take_answer(call, frame);
            else if (frame->type == FRAME_FAILED)
                take_failure(call, frame);
            else if (frame->type == FRAME_LOG)
                keep_line(call, frame);
            else
                free_frame(frame);
        }
    }
}

// Moves the call on as far as it goes without waiting.
void step(XAVO_Call *call) {
    if (call->state == NEW || (call->state == PAUSED && now_ms() >= call->resume_at))
        attempt(call);
    if (is_out(*call)) {
        if (!is_ours(call->worker->process)) {
            worker_died(call);
        } else {
            if (call->state == SENDING) {
                send_request(call);
                if (call->state == WAITING)
                    watch(call, EPOLL_CTL_MOD, EPOLLIN);
            }
            receive(call);
        }
    }
    if (call->state < ENDED && now_ms() >= call->deadline)
        end_without_answer(call, XAVO_KIND_DEADLINE);
}

uint64_t next_time(const XAVO_Call &call) {
    return call.state == PAUSED && call.resume_at < call.deadline ? call.resume_at : call.deadline;
}

// ---- Requests -----------------------------------------------------------------------------------

#define MEMBER(name)                                                                                         \
    { #name, offsetof(XAVO_Request, name) }
constexpr struct {
    const char *name;
    size_t offset;
} MEMBERS[] = {
    MEMBER(id),      MEMBER(class_name), MEMBER(name_space),  MEMBER(start_time), MEMBER(until_time),
    MEMBER(job_ids), MEMBER(uri),        MEMBER(reboot_type), MEMBER(image),      MEMBER(share),
};
#undef MEMBER
constexpr size_t FIRST_MEMBER = offsetof(XAVO_Request, user);

// Which members an operation takes, and which it needs: a bit for each pointer, in their order.
struct Taken {
    uint8_t operation;
    uint16_t taken, needed;
};

// Whether the list begins with this name.
constexpr bool begins_with(const char *names, const char *name) {
    for (; *name != '\0'; ++names, ++name)
        if (*names != *name)
            return false;
    return *names == ' ' || *names == '?' || *names == '\0';
}

// Reads the last column of XAVO_OPERATIONS. Every operation takes a user. A name that is not a member reaches
// abort(), which is not a constant expression, so that the compiler reports it.
constexpr Taken taken_by(int operation, const char *names) {
    Taken taken = {static_cast<uint8_t>(operation), 1, 0};
    while (*names != '\0') {
        size_t place = 0;
        for (const auto &member : MEMBERS)
            if (begins_with(names, member.name))
                place = (member.offset - FIRST_MEMBER) / sizeof(void *);
        if (place == 0)
            abort();
        while (*names != ' ' && *names != '?' && *names != '\0')
            ++names;
        taken.taken = static_cast<uint16_t>(taken.taken | 1U << place);
        if (*names != '?')
            taken.needed = static_cast<uint16_t>(taken.needed | 1U << place);
        while (*names == ' ' || *names == '?')
            ++names;
    }
    return taken;
}

#define ROW(constant, value, name, members) taken_by(constant, members),
constexpr Taken OPERATIONS[] = {taken_by(OP_NOTHING, ""), XAVO_OPERATIONS(ROW)};
#undef ROW

// Copies the members that the operation takes. Other members are not read. Returns false if the request is
// not valid.
bool copy_taken(const XAVO_Request &given, XAVO_Request *request) {
    *request = {};
    request->operation = given.operation;
    request->deadline_ms = given.deadline_ms;
    const Taken *row = OPERATIONS;
    while (row->operation != given.operation)
        if (++row == std::end(OPERATIONS))
            return false;
    size_t offset = FIRST_MEMBER;
    const void *member;
    for (unsigned int bit = 1; bit <= row->taken; bit <<= 1U, offset += sizeof member) {
        if ((row->taken & bit) == 0)
            continue;
        memcpy(&member, reinterpret_cast<const char *>(&given) + offset, sizeof member);
        memcpy(reinterpret_cast<char *>(request) + offset, &member, sizeof member);
        if (member == nullptr && (row->needed & bit) != 0)
            return false;
    }
    // The client library cannot send a quotation mark inside a reference.
    const bool refers = given.operation == XAVO_OP_INSTALL_FROM_URI ||
                        given.operation == XAVO_OP_INSTALL_FROM_SOFTWARE_IDENTITY;
    return given.deadline_ms <= XAVO_LONGEST_DEADLINE_MS && (!refers || strchr(given.id, '"') == nullptr);
}

void destroy_call(XAVO_Call *call) {
    close_adopted(&call->epoll);
    close_adopted(&call->timer);
    XAVO_answer_free(&call->answer);
    while (call->log != nullptr) {
        Frame *frame = call->log;
        call->log = frame->next;
        free_frame(frame);
    }
    call->~XAVO_Call();
    free(call);
}

// Makes the descriptors of a call that does not block. Returns 0 or an errno. Uses the numbers of the system
// calls, because importing a function for a single call takes 60 bytes.
int make_descriptors(XAVO_Call *call) {
    call->epoll = adopt(static_cast<int>(syscall(SYS_epoll_create1, EPOLL_CLOEXEC)));
    if (call->epoll < 0)
        return errno;
    call->timer =
        adopt(static_cast<int>(syscall(SYS_timerfd_create, CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)));
    epoll_event event = {};
    event.events = EPOLLIN;
    return call->timer < 0 || epoll_ctl(call->epoll, EPOLL_CTL_ADD, call->timer, &event) != 0 ? errno : 0;
}

void of_another_process(XAVO_Answer *answer) {
    fail_answer(answer, XAVO_KIND_NO_WORKER, "the pool belongs to the process that forked this one");
}

void refuse(XAVO_Answer *answer, XAVO_ErrorCode code) {
    fail_answer(answer, XAVO_KIND_NOTHING_ASKED);
    answer->code = code;
}

enum Form { STARTED, BLOCKING, PRESTARTING }; // the last one blocks, but does not wait for a worker

// Returns a new call with its request and a worker. Returns NULL on failure, with the reason in *answer.
XAVO_Call *make_call(XAVO_Pool *pool, const XAVO_Request *request, XAVO_Answer *answer, Form form) {
    *answer = {};
    XAVO_Request complete;
    if (pool == nullptr || request == nullptr || !copy_taken(*request, &complete)) {
        refuse(answer, XAVO_INVALID_VALUE);
        return nullptr;
    }
    if (pool->owner != getpid()) {
        of_another_process(answer);
        return nullptr;
    }
    void *memory = malloc(sizeof(XAVO_Call));
    if (memory == nullptr) {
        refuse(answer, XAVO_OUT_OF_MEMORY);
        return nullptr;
    }
    auto *call = new (memory) XAVO_Call(pool);
    if (complete.user == nullptr)
        complete.user = pool->user;
    const uint64_t usual = is_method(complete.operation) ? USUAL_METHOD_MS : USUAL_READ_MS;
    call->deadline = now_ms() + (complete.deadline_ms != 0 ? complete.deadline_ms : usual);
    call->operation = complete.operation;
    call->secret = has_secret(complete);
    write_request(&call->request, complete, call->deadline, pool->log_level);
    const int error = form == STARTED ? make_descriptors(call) : 0;
    if (error != 0) {
        fail_answer(answer, XAVO_KIND_NO_WORKER, nullptr, "", error);
    } else if (!call->request.finish()) {
        refuse(answer, XAVO_OUT_OF_MEMORY);
    } else {
        const Locked locked(&pool->lock);
        call->worker = form == BLOCKING ? wait_for_worker(pool, call->deadline) : take_worker(pool);
        if (call->worker != nullptr) {
            call->next = pool->calls;
            pool->calls = call;
            return call;
        }
        const int kind = form == BLOCKING ? XAVO_KIND_DEADLINE : XAVO_KIND_BUSY;
        fail_answer(answer, kind, "all workers are at work");
    }
    destroy_call(call);
    return nullptr;
}

// Takes the call out of the pool and frees it; the pool, too, when it was freed before.
void free_call(XAVO_Call *call) {
    XAVO_Pool *pool = call->pool;
    pthread_mutex_lock(&pool->lock);
    const timespec long_after = {INT32_MAX, 0};
    while (call->pins > 0)
        pthread_cond_timedwait(&pool->changed, &pool->lock, &long_after);
    XAVO_Call **link = &pool->calls;
    while (*link != call)
        link = &(*link)->next;
    *link = call->next;
    const bool last = pool->ended && pool->calls == nullptr;
    pthread_mutex_unlock(&pool->lock);
    destroy_call(call);
    if (last)
        destroy_pool(pool);
}

Frame *take_log(XAVO_Call *call) {
    Frame *lines = call->log;
    call->log = nullptr;
    call->log_end = &call->log;
    return lines;
}

// Gives the answer to the program.
void hand_over(XAVO_Call *call, XAVO_Answer *answer) {
    *answer = call->answer;
    call->answer = {};
    move(call, COLLECTED);
}

// Waits until there is something to do.
void wait_for_event(XAVO_Call *call) {
    const uint64_t at = next_time(*call), now = now_ms();
    const uint64_t left = at > now ? at - now : 0;
    const Process none;
    wait_for_process(call->state == PAUSED ? none : call->worker->process,
                     call->state == SENDING ? POLLIN | POLLOUT : POLLIN, left);
}

// Carries a blocking call out, and frees it.
void complete(XAVO_Call *call, XAVO_Answer *answer) {
    for (;;) {
        step(call);
        if (call->log != nullptr)
            deliver_log(*call->pool, take_log(call));
        if (call->state == ENDED)
            break;
        wait_for_event(call);
    }
    hand_over(call, answer);
    free_call(call);
}

} // namespace

XAVO_Call *next_uncancelled(XAVO_Pool *pool) {
    XAVO_Call *call = pool->calls;
    while (call != nullptr && call->cancelled)
        call = call->next;
    if (call != nullptr)
        call->cancelled = true;
    return call;
}

void fail_answer(XAVO_Answer *answer, int kind, const char *words, const char *subject, int status) {
    *answer = {};
    answer->kind = kind;
    answer->code = code_of(kind);
    answer->status = status;
    char buffer[128];
    if (words == nullptr && status != 0)
        words = strerror_r(status, buffer, sizeof buffer);
    if (words == nullptr)
        return;
    const size_t first = strlen(words), second = strlen(subject) + 1;
    const size_t between = second > 1 ? 2 : 0, length = first + between + second;
    auto *frame = static_cast<Frame *>(malloc(sizeof(Frame) + length));
    if (frame == nullptr)
        return;
    *frame = {FRAME_FAILED, static_cast<uint32_t>(length), nullptr, 0, nullptr};
    memcpy(frame->fields(), words, first); // NOLINT(bugprone-not-null-terminated-result): the subject ends it
    memcpy(frame->fields() + first, ": ", between);
    memcpy(frame->fields() + first + between, subject, second);
    answer->message = frame->fields();
    answer->storage = frame;
}

} // namespace xavo_companion

using namespace xavo_companion;

void XAVO_answer_free(XAVO_Answer *answer) {
    if (answer == nullptr)
        return;
    free_frame(static_cast<Frame *>(answer->storage));
    *answer = {};
}

XAVO_ErrorCode XAVO_call(XAVO_Pool *pool, const XAVO_Request *request, XAVO_Answer *answer) {
    const NotCancelled not_cancelled;
    XAVO_Call *call = make_call(pool, request, answer, BLOCKING);
    if (call != nullptr)
        complete(call, answer);
    return answer->code;
}

XAVO_ErrorCode XAVO_pool_prestart(XAVO_Pool *pool, unsigned int workers, unsigned int deadline_ms,
                                  XAVO_Answer *answer) {
    const NotCancelled not_cancelled;
    XAVO_Answer first = {};
    unsigned int ready = 0;
    if (pool == nullptr || workers > pool->count)
        refuse(&first, XAVO_INVALID_VALUE);
    else if (pool->owner != getpid()) // a forked child, in which the lock may stay locked for ever
        of_another_process(&first);
    else
        ready = taken_workers(pool);
    if (pool != nullptr && workers == 0)
        workers = pool->count;
    XAVO_Request request = {};
    request.operation = OP_NOTHING;
    request.deadline_ms = deadline_ms;
    // Each call occupies one worker, so that one call for each worker starts them all.
    XAVO_Call *calls = nullptr;
    for (; first.code == XAVO_NO_ERROR && ready < workers; ++ready)
        if (XAVO_Call *call = make_call(pool, &request, &first, PRESTARTING)) {
            attempt(call);
            call->following = calls;
            calls = call;
        }
    if (first.kind == XAVO_KIND_BUSY) // the others are at work
        XAVO_answer_free(&first);
    while (XAVO_Call *call = calls) {
        calls = call->following;
        if (first.code == XAVO_NO_ERROR) {
            XAVO_answer_free(&first);
            complete(call, &first);
        } else {
            XAVO_call_free(call);
        }
    }
    const XAVO_ErrorCode code = first.code;
    if (answer != nullptr)
        *answer = first;
    else
        XAVO_answer_free(&first);
    return code;
}

XAVO_Call *XAVO_call_start(XAVO_Pool *pool, const XAVO_Request *request, XAVO_Answer *answer) {
    const NotCancelled not_cancelled;
    XAVO_Call *call = make_call(pool, request, answer, STARTED);
    if (call == nullptr)
        return nullptr;
    const Locked locked(&call->lock);
    attempt(call);
    set_timer(call, call->state == ENDED ? AT_ONCE : next_time(*call));
    return call;
}

int XAVO_call_descriptor(const XAVO_Call *call) { return call != nullptr ? call->epoll : -1; }

int XAVO_call_collect(XAVO_Call *call, XAVO_Answer *answer) {
    const NotCancelled not_cancelled;
    if (call != nullptr && call->owner != getpid()) {
        of_another_process(answer);
        return 1;
    }
    *answer = {};
    Frame *lines = nullptr;
    bool ended = true, again = true;
    if (call != nullptr) {
        const Locked locked(&call->lock);
        again = call->state == COLLECTED;
        if (call->state < ENDED)
            step(call);
        lines = take_log(call);
        ended = call->state >= ENDED;
        if (call->state == ENDED)
            hand_over(call, answer);
        set_timer(call, ended ? NEVER : next_time(*call));
    }
    if (lines != nullptr)
        deliver_log(*call->pool, lines);
    if (again)
        refuse(answer, XAVO_INVALID_VALUE);
    return ended ? 1 : 0;
}

void XAVO_call_cancel(XAVO_Call *call) {
    const NotCancelled not_cancelled;
    if (call == nullptr || call->owner != getpid())
        return;
    const Locked locked(&call->lock);
    if (call->state >= ENDED)
        return;
    end_without_answer(call, XAVO_KIND_CANCELLED);
    set_timer(call, AT_ONCE);
}

void XAVO_call_free(XAVO_Call *call) {
    const NotCancelled not_cancelled;
    if (call == nullptr)
        return;
    if (call->owner != getpid()) { // the other members may be inconsistent
        close_adopted(&call->epoll);
        close_adopted(&call->timer);
        call->request.~Writer(); // wipes
        free(call);
        return;
    }
    XAVO_call_cancel(call);
    free_call(call);
}
