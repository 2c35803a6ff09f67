// scripted_worker.cpp - a worker that follows a script: the identifier of a request. The script has a part
// for each attempt, separated by "|", which consists of words; further attempts use the last part.
// SCRIPT_JOURNAL names a file to which the worker adds an "r" for each request and a "c" for each claim that
// succeeds.
#include "protocol.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace xavo_companion;

namespace {

Shared *shared;

void send_all(const void *data, size_t size) {
    if (send(WORKER_SOCKET, data, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size))
        _exit(1);
}

void send_frame(Writer *writer) {
    if (!writer->finish())
        _exit(2);
    send_all(writer->data(), writer->size());
}

// Adds a letter to the journal. Returns the number of requests, including this one.
long journal(const char *letter) {
    const char *path = getenv("SCRIPT_JOURNAL");
    std::fstream file(path != nullptr ? path : "", std::ios::in | std::ios::out | std::ios::app);
    file << letter << std::flush;
    file.seekg(0);
    return static_cast<long>(std::count(std::istreambuf_iterator<char>(file), {}, 'r'));
}

void answer(const ReceivedRequest &received, unsigned kind, unsigned code, unsigned status, unsigned flags) {
    Writer writer(FRAME_ANSWER);
    writer.number(TAG_SEQUENCE, received.sequence);
    writer.number(TAG_CODE, code);
    writer.number(TAG_KIND, kind);
    writer.number(TAG_STATUS, status);
    writer.number(TAG_FLAGS, flags);
    writer.number(static_cast<Tag>(999), 1); // of a later release
    writer.text(TAG_MESSAGE, "Internal error - -1\\n\n");
    if (received.request.operation == XAVO_OP_GET_JOB && kind == 0) {
        char id[] = "JID_1", status_text[] = "Running";
        XAVO_VELK_LifecycleJob job = {};
        job.InstanceID = id;
        job.JobStatus = status_text;
        writer.job(job);
    }
    send_frame(&writer);
}

void obey(const ReceivedRequest &received, const std::string &script) {
    std::istringstream words(script);
    for (std::string word; words >> word;) {
        unsigned values[4] = {};
        sscanf(word.c_str(), "%*[a-z]=%u,%u,%u,%u", &values[0], &values[1], &values[2], &values[3]);
        word.resize(std::min(word.find('='), word.size()));
        if (word == "claim") {
            if (claim(shared, received.sequence, CLAIM_WORKER))
                journal("c");
        } else if (word == "stage") {
            set_stage(shared, static_cast<Stage>(values[0]));
        } else if (word == "sleep") {
            usleep(values[0] * 1000);
        } else if (word == "answer") {
            answer(received, values[0], values[1], values[2], values[3]);
        } else if (word == "log") {
            Writer line(FRAME_LOG);
            line.number(TAG_LEVEL, 2);
            line.text(TAG_MESSAGE, "a line");
            send_frame(&line);
        } else if (word == "crash") {
            const rlimit none = {0, 0};
            setrlimit(RLIMIT_CORE, &none);
            abort();
        } else if (word == "hang") {
            for (;;)
                pause();
        } else if (word == "frames") { // of a later release, at once
            const std::vector<FrameHeader> frames(values[0], {PROTOCOL_VERSION, 77, 0});
            send_all(frames.data(), frames.size() * sizeof frames[0]);
        } else if (word == "failed") {
            Writer failed(FRAME_FAILED);
            failed.text(TAG_MESSAGE, "cannot load it\n");
            send_frame(&failed);
            _exit(1);
        } else if (word == "raw") { // version, type, length of a header; and some bytes
            const FrameHeader header = {static_cast<uint16_t>(values[0]), static_cast<uint16_t>(values[1]),
                                        values[2]};
            send_all(&header, sizeof header);
            send_all("\1\0\0\0\xff\xff\xff\xff\1\2\3\4", 12);
        } else if (word == "environment") { // fails if descriptors above its own are open
            for (int fd = WORKER_CALLER + 1; fd < 1024; ++fd)
                if (fcntl(fd, F_GETFD) >= 0)
                    _exit(3);
        }
    }
}

} // namespace

int main() {
    alarm(120); // ends a worker that hangs under an emulator
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    void *memory = mmap(nullptr, sizeof *shared, PROT_READ | PROT_WRITE, MAP_SHARED, WORKER_SHARED, 0);
    if (memory == MAP_FAILED)
        return 1;
    shared = static_cast<Shared *>(memory);
    set_stage(shared, STAGE_READY);
    Receiver receiver;
    for (Frame *frame; receiver.receive(WORKER_SOCKET, 0, &frame) == Receiver::FRAME; free_frame(frame)) {
        ReceivedRequest received;
        if (!received.decode(frame))
            return 1;
        const long attempt = journal("r");
        const bool method = is_method(received.request.operation);
        std::string script = received.request.id != nullptr ? received.request.id
                             : method                       ? "claim answer=0"
                                                            : "answer=0";
        for (long i = 1; i < attempt && script.find('|') != std::string::npos; ++i)
            script.erase(0, script.find('|') + 1);
        obey(received, script.substr(0, script.find('|')));
        set_stage(shared, STAGE_READY);
    }
    return 0;
}
