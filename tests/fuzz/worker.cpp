// worker.cpp - a hostile caller: any frames. The worker answers with frames that can be read, or ends, and
// invokes a method only if it claimed the invocation, which it can once.
#include "frames.h"

#define main worker_main
int worker_main();
#include "main.cpp"
#undef main

// The number of the worker's socket is taken before the fuzzer opens a file.
static const bool taken = dup2(open("/dev/null", O_RDWR | O_CLOEXEC), WORKER_SOCKET) == WORKER_SOCKET;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const char *const words = load_libxavo();
    assert(taken && words == nullptr);
    cimsim_reset();
    cimsim_load_demo();
    Input in = {data, size};
    const uint32_t sequence = in.byte();
    const std::string bytes = frames(in, FRAME_REQUEST);
    int far_end;
    const int near_end = sender_of(bytes, &far_end);
    assert(dup2(near_end, WORKER_SOCKET) == WORKER_SOCKET);
    close(near_end);
    {
        Shared shared = {0, STAGE_READY};
        open_claim(&shared, sequence);
        Receiver receiver;
        Broker broker;
        for (int requests = 0; requests < 16 && serve(&receiver, &broker, &shared); ++requests)
            assert(shared.stage == STAGE_READY);
        const bool claimed = shared.claim == (sequence << 2 | CLAIM_WORKER);
        assert(cimsim_calls("CMCIClient.invokeMethod") == (claimed ? 1 : 0));
    }
    shutdown(WORKER_SOCKET, SHUT_RDWR);
    Receiver receiver;
    for (Frame *frame; receiver.receive(far_end, 0, &frame) == Receiver::FRAME;) {
        XAVO_Answer answer = {};
        AnswerExtra extra;
        assert(decode_answer(frame, &answer, &extra) == DECODED);
        free_frame(frame);
    }
    close(far_end);
    return 0;
}
