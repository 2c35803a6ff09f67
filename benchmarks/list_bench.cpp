// list_bench.cpp - what listing the jobs costs, beside a bare loop over the same enumeration that copies
// the same ten strings. Both run in turn on the same controller, so that their ratio is steady where the
// machine is not.
#include <benchmark/benchmark.h>
#include <cimsim.h>
#include <XAVO.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char *const PROPERTIES[] = {
    "InstanceID",      "ElapsedTimeSinceCompletion",
    "PercentComplete", "JobUntilTime",
    "JobStartTime",    "MessageArguments",
    "Message",         "MessageID",
    "JobStatus",       "Name",
};

struct Strings {
    char *text[10];
};

std::vector<Strings> bare_loop(XAVO_Proxy *sp) {
    std::vector<Strings> jobs;
    CMPIObjectPath *path = newCMPIObjectPath("root/velk", "VELK_LifecycleJob", nullptr);
    CMPIEnumeration *all =
        sp->client->ft->enumInstances(sp->client, path, CMPI_FLAG_DeepInheritance, nullptr, nullptr);
    path->ft->release(path);
    while (all->ft->hasNext(all, nullptr) != 0) {
        CMPIInstance *instance = all->ft->getNext(all, nullptr).value.inst;
        Strings job = {};
        for (size_t i = 0; i < 10; ++i) {
            CMPIData data = instance->ft->getProperty(instance, PROPERTIES[i], nullptr);
            if (data.state == CMPI_goodValue) {
                job.text[i] = strdup(data.value.string->ft->getCharPtr(data.value.string, nullptr));
                data.value.string->ft->release(data.value.string);
            }
        }
        jobs.push_back(job);
    }
    all->ft->release(all);
    return jobs;
}

template <typename Body>
double seconds(Body body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// What the library allocates for the records of a list.
size_t bytes_of(const XAVO_VELK_LifecycleJob *job) {
    size_t bytes = 0;
    for (; job != nullptr; job = job->next) {
        bytes += sizeof *job;
        for (const char *text : {job->InstanceID, job->ElapsedTimeSinceCompletion, job->PercentComplete,
                                 job->JobUntilTime, job->JobStartTime, job->MessageArguments, job->Message,
                                 job->MessageID, job->JobStatus, job->Name})
            bytes += text == nullptr ? 0 : strlen(text) + 1;
    }
    return bytes;
}

void List(benchmark::State &state) {
    const auto jobs = static_cast<unsigned int>(state.range(0));
    cimsim_reset();
    cimsim_freeze_time(1);
    cimsim_set_job_limit(0);
    for (unsigned int i = 0; i < jobs; ++i) {
        std::string id = std::to_string(i);
        id = "JID_" + std::string(12 - id.size(), '0') + id;
        cimsim_add_job(id.c_str(), "benchmark", CIMSIM_NEVER, 1, 0);
        cimsim_set_job_property(id.c_str(), "MessageArguments", cimsim_string("none"));
    }
    XAVO_Proxy *sp = XAVO_new();
    double library = 0;
    double bare = 0;
    size_t bytes = 0;
    for (auto _ : state) {
        XAVO_ErrorCode ec = XAVO_NO_ERROR;
        XAVO_VELK_LifecycleJob *list = nullptr;
        const double once = seconds([&] { list = XAVO_enumerate_VELK_LifecycleJob(sp, &ec); });
        bytes = bytes_of(list);
        XAVO_free_list_VELK_LifecycleJob(list);
        std::vector<Strings> copies;
        bare += seconds([&] { copies = bare_loop(sp); });
        for (const Strings &job : copies)
            for (char *text : job.text)
                free(text);
        library += once;
        state.SetIterationTime(once);
        if (ec != XAVO_NO_ERROR || copies.size() != jobs)
            state.SkipWithError(XAVO_EC_to_string(ec));
    }
    state.counters["us/job"] = 1e6 * library / static_cast<double>(state.iterations()) / jobs;
    state.counters["library/bare"] = library / bare;
    state.counters["bytes/job"] = static_cast<double>(bytes) / jobs;
    XAVO_free(sp);
}
BENCHMARK(List)->Arg(1000)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
