/* event_loop.c - forty calls to the local controller from one epoll loop, four at a time.
 *
 * Lists of jobs, fetches of the job JID_1 and share tests take turns. Each call has a deadline of its own,
 * and one call is cancelled. Nothing changes on a controller: a share test is a method, but it only tries to
 * reach the share. The share here is on an address that is reserved for documentation, so that no server is
 * reached, and no user or password is sent. Exit status 0: every call was answered, or cancelled as planned.
 */
#include <stdio.h>
#include <string.h>
#include <sys/epoll.h>
#include <unistd.h>
#include <XAVO_companion.h>

enum { CALLS = 40, AT_ONCE = 4, CANCELLED = 21 };

typedef struct {
    XAVO_Call *call; /* NULL: free */
    int number;      /* of the call, from 0 */
    int operation;
} call_slot;

typedef struct {
    XAVO_Pool *pool;
    int epoll;
    call_slot slots[AT_ONCE];
    int started, ended, answered, cancelled;
} loop;

/* Prints how the call of a slot ended, and counts it. */
static void record_end(loop *self, const call_slot *slot, const XAVO_Answer *answer) {
    printf("%2d %-18s %s, %s, effect %s%s%s\n", slot->number, XAVO_operation_name(slot->operation),
           XAVO_code_name(answer->code), XAVO_kind_name(answer->kind), XAVO_effect_name(answer->effect),
           answer->message ? ": " : "", answer->message ? answer->message : "");
    ++self->ended;
    self->answered += answer->effect == XAVO_EFFECT_ANSWERED;
    self->cancelled += answer->kind == XAVO_KIND_CANCELLED;
}

/* Starts the next call in a free slot. The slot stays free if the call ends here. */
static void start_call(loop *self, call_slot *slot) {
    static const int operations[] = {XAVO_OP_LIST_JOBS, XAVO_OP_GET_JOB, XAVO_OP_TEST_NETWORK_SHARE};
    static const unsigned int deadlines_ms[] = {5000, 2000, 10000};
    static const XAVO_NET_INPUT_DATA share = {.ipaddr = "192.0.2.10", .sharename = "public"};
    const size_t turn = (size_t)self->started % 3;
    const XAVO_Request request = {
        .operation = operations[turn], .deadline_ms = deadlines_ms[turn], .id = "JID_1", .share = &share};
    XAVO_Answer answer;
    slot->number = self->started++;
    slot->operation = request.operation;
    slot->call = XAVO_call_start(self->pool, &request, &answer);
    if (slot->call != NULL) {
        struct epoll_event event = {.events = EPOLLIN, .data.ptr = slot};
        if (epoll_ctl(self->epoll, EPOLL_CTL_ADD, XAVO_call_descriptor(slot->call), &event) != 0) {
            perror("epoll_ctl");
            XAVO_call_free(slot->call);
            slot->call = NULL;
            ++self->ended;
        } else if (slot->number == CANCELLED) {
            XAVO_call_cancel(slot->call); /* for a reason of the program; the call is collected as usual */
        }
    } else {
        /* For example NO_WORKER; never BUSY, because there is a worker for each slot. */
        record_end(self, slot, &answer);
        XAVO_answer_free(&answer);
    }
}

/* Continues a call whose descriptor is readable. */
static void continue_call(loop *self, call_slot *slot) {
    XAVO_Answer answer;
    if (XAVO_call_collect(slot->call, &answer) == 0)
        return; /* not yet: the descriptor becomes readable again */
    record_end(self, slot, &answer);
    XAVO_answer_free(&answer);
    epoll_ctl(self->epoll, EPOLL_CTL_DEL, XAVO_call_descriptor(slot->call), NULL); /* before it is freed */
    XAVO_call_free(slot->call);
    slot->call = NULL;
}

static void run(loop *self) {
    while (self->ended < CALLS) {
        struct epoll_event events[AT_ONCE];
        for (call_slot *slot = self->slots; slot < self->slots + AT_ONCE; ++slot)
            while (slot->call == NULL && self->started < CALLS)
                start_call(self, slot);
        /* No time-out: each call's descriptor becomes readable at the call's deadline, too. */
        const int ready = self->ended < CALLS ? epoll_wait(self->epoll, events, AT_ONCE, -1) : 0;
        for (int i = 0; i < ready; ++i)
            continue_call(self, events[i].data.ptr);
    }
}

int main(void) {
    const XAVO_PoolOptions options = {.workers = AT_ONCE};
    loop self;
    memset(&self, 0, sizeof self);
    self.epoll = epoll_create1(EPOLL_CLOEXEC);
    self.pool = XAVO_pool_new(&options, NULL);
    if (self.epoll < 0 || self.pool == NULL) {
        fprintf(stderr, "no epoll descriptor, or no memory\n");
        return 71;
    }
    run(&self);
    XAVO_pool_free(self.pool);
    close(self.epoll);
    printf("%d answered, %d cancelled, %d of %d ended\n", self.answered, self.cancelled, self.ended, CALLS);
    return self.answered + self.cancelled == CALLS ? 0 : 1;
}
