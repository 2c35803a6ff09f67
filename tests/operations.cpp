#include "operations.h"
#include "table.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>

namespace test {

namespace {

void test_share(uint16_t type, XAVO_Proxy *sp, XAVO_ErrorCode *ec) {
    const XAVO_NET_INPUT_DATA data = full_share(type);
    XAVO_invoke_TestNetworkShare(sp, ec, &data);
}

constexpr const char *JOB = "VELK_LifecycleJob";
CMPIData zero = {CMPI_uint32, CMPI_goodValue, {}};
char *const jobs[] = {const_cast<char *>("JID_3"), const_cast<char *>("JID_1"), nullptr};
char *const words[] = {const_cast<char *>("one"), const_cast<char *>("two"), nullptr};

const XAVO_HTTP_SHARE_OPT_DATA FULL_HTTP = {1, 2, "192.0.2.80", "proxyuser", "proxysecret", "3128", 3};

void image(const char *method, XAVO_Proxy *sp, XAVO_ErrorCode *ec, Results &r) {
    XAVO_BAR_INPUT_DATA data = full_image(5);
    XAVO_invoke_BackupRestore(sp, ec, method, &data, &r.job);
}

} // namespace

XAVO_BAR_INPUT_DATA full_image(uint16_t share_type) {
    return {"user",           "secret",   "phrase", "192.0.2.10", "share",   "image", "NOW",
            "20990101000000", share_type, 3,        FULL_HTTP,    "nightly", 4,       "admin"};
}

XAVO_NET_INPUT_DATA full_share(uint16_t share_type) {
    return {"user", "secret", "group", "192.0.2.10", "share", share_type, 9, FULL_HTTP};
}

Results::~Results() {
    const auto release = [](auto *object) {
        if (object != nullptr)
            object->ft->release(object);
    };
    release(args);
    release(instance);
    release(instances);
    release(path);
    release(array);
    XAVO_free_ntstring(job);
    XAVO_free_list_VELK_LifecycleJob(records);
}

CMPIArgs *printable() {
    CMPIArgs *args = native_new_CMPIArgs(nullptr);
    CMPIObjectPath *path = newCMPIObjectPath("root/velk", "VELK_LifecycleJob", nullptr);
    CMPIArray *array = XAVO_build_string_array(words);
    char text[] = "text", other[] = "other";
    for (const char *key : {"InstanceID", "Other"})
        path->ft->addKey(path, key, reinterpret_cast<CMPIValue *>(key[0] == 'O' ? other : text), CMPI_chars);
    path->ft->setHostname(path, "host");
    args->ft->addArg(args, "Job", reinterpret_cast<CMPIValue *>(&path), CMPI_ref);
    args->ft->addArg(args, "Words", reinterpret_cast<CMPIValue *>(&array), CMPI_stringA);
    args->ft->addArg(args, "Text", reinterpret_cast<CMPIValue *>(text), CMPI_chars);
    array->ft->release(array);
    path->ft->release(path);
    return args;
}

std::string without_blanks(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\n'; }),
               text.end());
    return text;
}

std::string outcome_lines(const Operation &op, const std::string &log) {
    std::istringstream lines(log);
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("8 XAVO_new_with_uname: ", 0) != 0 && line.rfind("8 " + op.function, 0) != 0)
            kept += line + "\n";
    return kept;
}

std::string with_names(const Operation &op, std::string log) {
    replace(log, "ERROR: D()", "ERROR: " + op.job.blamed + "()");
    replace(log, " D: ", " " + op.job.reader + ": ");
    replace(log, " F: ", " " + op.function + ": ");
    return log;
}

std::string error(const std::string &function, const std::string &text) {
    return "2 " + function + ": ERROR: " + text + "\n";
}
const std::string NO_MESSAGES = "8 XAVO_get_string_arg: st.rc=6\n8 XAVO_get_string_arg: st.rc=6\n";

namespace {

#define CALL(...)                                                                                            \
    [](XAVO_Proxy *sp, XAVO_ErrorCode *ec, Results &r) {                                                     \
        (void)sp, (void)r;                                                                                   \
        __VA_ARGS__;                                                                                         \
    }
// For functions that report no code: stores this one.
#define GIVES(code, ...) CALL(__VA_ARGS__, *ec = (code))
const std::pair<const char *, void (*)(XAVO_Proxy *, XAVO_ErrorCode *, Results &)> calls[] = {
    {"DeleteJobQueue", CALL(XAVO_invoke_DeleteJobQueue(sp, ec, "JID_1"))},
    {"delete", CALL(XAVO_delete_VELK_LifecycleJob(sp, ec, "JID_2"))},
    {"SetupJobQueue", CALL(XAVO_invoke_SetupJobQueue(sp, ec, "NOW", "20990101000000", jobs))},
    {"InstallFromURI",
     CALL(XAVO_invoke_InstallFromURI(sp, ec, "http://192.0.2.20/bios.bin", "BIOS", &r.job))},
    {"InstallFromSoftwareIdentity", CALL(XAVO_invoke_InstallFromSoftwareIdentity(sp, ec, "BIOS", &r.job))},
    {"CreateRebootJob", CALL(XAVO_invoke_CreateRebootJob(sp, ec, "1", &r.job))},
    {"BackupImage", CALL(image("BackupImage", sp, ec, r))},
    {"RestoreImage", CALL(image("RestoreImage", sp, ec, r))},
    {"TestNetworkShare", CALL(test_share(2, sp, ec))},
    {"TestNetworkShare over HTTP", CALL(test_share(5, sp, ec))},
    {"list", CALL(r.records = XAVO_enumerate_VELK_LifecycleJob(sp, ec))},
    {"get", CALL(r.records = XAVO_get_VELK_LifecycleJob(sp, ec, "JID_1"))},
    {"enumerate", CALL(r.instances = XAVO_enumerate(sp, ec, "root/velk", "VELK_SoftwareIdentity"))},
    {"path",
     CALL(r.path = XAVO_build_object_path_key_value(sp, ec, "root/velk", JOB, "InstanceID", "JID_1"))},
    {"array", GIVES(r.array ? XAVO_NO_ERROR : XAVO_OUT_OF_MEMORY, r.array = XAVO_build_string_array(words))},
    {"open", CALL(XAVO_Proxy *own = XAVO_new_with_uname(nullptr); own ? XAVO_free(own) : (void)0;
                  *ec = own ? XAVO_NO_ERROR : XAVO_UNABLE_TO_OPEN_CONNECTION)},
    {"text", GIVES(XAVO_NO_ERROR, r.job = XAVO_get_string_arg(r.args, "Text"))},
    {"print", GIVES(XAVO_NO_ERROR, XAVO_pr_CMPIArgs(0, "printable", r.args))},
    {"property", CALL(r.job = XAVO_property_to_ntstring(sp, ec, r.instance, "Name"))},
    // Success does not change the code.
    {"number", CALL(*ec = XAVO_NO_ERROR, XAVO_CMPIData_to_uint32(ec, &zero))},
    {"modify", CALL(const XAVO_ErrorCode code = XAVO_modify_VELK_LifecycleJob(sp, ec);
                    *ec = code == *ec ? code - XAVO_NOT_IMPLEMENTED : XAVO_UNKNOWN_ERROR)},
};

const char *const READS[] = {"RETURN_VALUE", "JOB",    "MESSAGE_OR_JOB", "MESSAGE",
                             "RECORDS",      "OBJECT", "HANDLE",         "NOTHING"};

constexpr const char COUNTS[] =
    "%lu before the lock, %lu under it, %lu after; %lu allocations, %lu mutex calls, %lu pooled\n";

Operation read(const Block &block) {
    const auto number = [&](const std::string &key) { return static_cast<unsigned>(std::stoul(block[key])); };
    const auto reads = std::find(std::begin(READS), std::end(READS), block["reads"]) - std::begin(READS);
    const auto call = std::find_if(std::begin(calls), std::end(calls),
                                   [&](const auto &known) { return known.first == block.name; });
    if (call == std::end(calls) || reads == std::end(READS) - std::begin(READS)) {
        fprintf(stderr, "%s: not known: %s\n", block.where.c_str(), block.name.c_str());
        abort();
    }
    Operation op = {static_cast<unsigned char>(number("number")), block.name, block["function"],
                    static_cast<Reads>(reads), call->second};
    op.where = block.where;
    op.takes_null = block["handle"] == "optional";
    op.success = block["log"];
    op.request = without_blanks(block["request"]);
    Row job = words_in(block["job"]);
    job.resize(3);
    op.job = {job[0], job[1], job[2]};
    sscanf(block["counts"].c_str(), COUNTS, &op.counts.before_lock, &op.counts.locked, &op.counts.unlocked,
           &op.counts.allocations, &op.counts.mutex_calls, &op.counts.pooled);
    op.instances = block["records"].empty() ? 1 : number("records");
    op.given = block["given"] == "ARGS" ? Given::ARGS
               : block["given"].empty() ? Given::NOTHING
                                        : Given::INSTANCE;
    return op;
}

} // namespace

const char *name_of(Reads reads) { return READS[static_cast<int>(reads)]; }

std::string to_text(const Counts &counts) {
    char text[120];
    snprintf(text, sizeof text, COUNTS, counts.before_lock, counts.locked, counts.unlocked,
             counts.allocations, counts.mutex_calls, counts.pooled);
    return text;
}

const std::vector<Operation> &operations() {
    static const std::vector<Operation> rows = [] {
        std::vector<Operation> all;
        for (const Block &block : blocks("operations.txt"))
            all.push_back(read(block));
        if (all.size() != std::size(calls)) // one has no row
            abort();
        return all;
    }();
    return rows;
}

const Operation &operation(const std::string &name) {
    for (const Operation &op : operations())
        if (op.name == name)
            return op;
    abort();
}

const Operation *numbered(unsigned number) {
    for (const Operation &op : operations())
        if (op.number == number)
            return &op;
    return nullptr;
}

void create_inputs(const Operation &op, XAVO_Proxy *sp, Results &results) {
    if (op.given == Given::ARGS)
        results.args = printable();
    if (op.given != Given::INSTANCE)
        return;
    XAVO_ErrorCode ec = -1;
    CMPIObjectPath *path =
        XAVO_build_object_path_key_value(sp, &ec, "root/velk", "VELK_LifecycleJob", "InstanceID", "JID_1");
    results.instance = sp->client->ft->getInstance(sp->client, path, 0, nullptr, nullptr);
    path->ft->release(path);
}

} // namespace test
