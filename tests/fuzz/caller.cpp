// caller.cpp - a hostile worker: any frames, claims and stages. The call ends, with an effect that the claim
// allows; with NONE, the worker can no longer claim.
#include "frames.h"

#include <sys/mman.h>
#include <sys/stat.h>

// What the library calls in place of starting a program is below.
#define start_process start_program
#include "process.cpp"
#undef start_process
#include "pool.h"

#include <utility>

namespace xavo_companion {
int start_process(Process *process, char *const *argv, char *const *environment);

namespace {
std::string bytes; // of the next worker; those after it send nothing
int far_end = -1;
Shared *shared; // a second view, which the library does not unmap
} // namespace

int start_process(Process *process, char *const *, char *const *) {
    if (far_end >= 0)
        close(far_end);
    process->socket = adopt(sender_of(std::exchange(bytes, {}), &far_end));
    struct stat status;
    assert(fstat(process->socket, &status) == 0);
    process->device = status.st_dev;
    process->inode = status.st_ino;
    const int file = memfd_create("shared", MFD_CLOEXEC);
    assert(ftruncate(file, SHARED_SIZE) == 0);
    void *memory = mmap(nullptr, SHARED_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    void *view = mmap(nullptr, SHARED_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    assert(memory != MAP_FAILED && view != MAP_FAILED);
    close(file);
    process->shared = static_cast<Shared *>(memory);
    shared = static_cast<Shared *>(view);
    return 0;
}
} // namespace xavo_companion

using namespace xavo_companion;

namespace {

size_t length_of(const char *text) { return text != nullptr ? strlen(text) : 0; }

// Reads all that the answer points to.
size_t read_all(const XAVO_Answer &answer) {
    size_t sum = length_of(answer.message_id) + length_of(answer.message) + length_of(answer.job_id),
           jobs = 0;
    for (const XAVO_VELK_LifecycleJob *job = answer.jobs; job != nullptr; job = job->next, ++jobs)
        for (const uint8_t text : JOB_TEXTS)
            sum += length_of(text_of(*job, text));
    assert(jobs == answer.job_count);
    for (size_t i = 0; i < answer.instance_count; ++i)
        for (size_t j = 0; j < answer.instances[i].count; ++j) {
            const XAVO_Property &property = answer.instances[i].properties[j];
            assert(property.is_null ? property.count == 0 : property.is_array || property.count == 1);
            for (size_t k = 0; k < property.count; ++k)
                sum += property.is_array ? length_of(property.text[k]) : strlen(property.text[k]);
        }
    return sum;
}

void log(void *, int, const char *line) { assert(strlen(line) < LONGEST_FRAME); }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in = {data, size};
    const unsigned how = in.byte(), stage = in.byte() % 4;
    const bool claims = (how & 1) != 0, reads = (how & 2) != 0;
    bytes = frames(in, FRAME_ANSWER);
    XAVO_PoolOptions options = {};
    options.workers = 1;
    options.worker_path = "/worker";
    options.log = log;
    XAVO_Pool *pool = XAVO_pool_new(&options, nullptr);
    pool->deaths = 7; // the next worker is not started at once
    XAVO_Request request = {};
    request.operation = reads ? XAVO_OP_LIST_INSTANCES : XAVO_OP_DELETE_JOB;
    request.id = request.class_name = "JID_1";
    XAVO_Answer answer;
    XAVO_Call *call = XAVO_call_start(pool, &request, &answer);
    assert(call != nullptr);
    if (claims)
        claim(shared, 1, CLAIM_WORKER);
    set_stage(shared, static_cast<Stage>(stage));
    if (XAVO_call_collect(call, &answer) == 0) { // to be repeated
        XAVO_call_cancel(call);
        assert(XAVO_call_collect(call, &answer) == 1);
    }
    assert(strcmp(XAVO_kind_name(answer.kind), "unknown") != 0);
    assert(reads ? answer.effect != XAVO_EFFECT_UNKNOWN : claims == (answer.effect != XAVO_EFFECT_NONE));
    assert(reads || claims || is_callers(shared, 1));
    assert(answer.kind != XAVO_KIND_NO_WORKER || answer.effect == XAVO_EFFECT_NONE);
    munmap(shared, SHARED_SIZE);
    assert(read_all(answer) < SIZE_MAX);
    XAVO_answer_free(&answer);
    XAVO_call_free(call);
    XAVO_pool_free(pool);
    return 0;
}
