// records.cpp - fuzzes the arguments of a caller: records as raw bytes, method names, reboot types. Compares
// the library's checks with an implementation of its own.
#include "input.h"

#include <memory>

namespace {

template <typename... Buffers>
bool terminated(const Buffers &...buffers) {
    return ((std::count(buffers, buffers + sizeof buffers, '\0') > 0) && ...);
}
bool valid(const XAVO_HTTP_SHARE_OPT_DATA &d) {
    return terminated(d.proxyServer, d.proxyUname, d.proxyPasswd, d.proxyPort);
}
bool valid(const XAVO_NET_INPUT_DATA &d) {
    return terminated(d.uname, d.passwd, d.workgroup, d.ipaddr, d.sharename) && valid(d.http);
}
bool valid(const XAVO_BAR_INPUT_DATA &d) {
    return terminated(d.uname, d.passwd, d.passphrase, d.ipaddr, d.sharename, d.imagename, d.startTime) &&
           terminated(d.untilTime, d.JobName, d.tavixuname) && valid(d.http);
}

// Parses blanks, a sign and digits; returns -1 for a text that is not a reboot type.
int reboot_type(const std::string &text) {
    size_t at = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const bool minus = text[at] == '-';
    at += minus || text[at] == '+';
    int number = at == text.size() ? -1 : 0;
    for (; at < text.size() && number >= 0; ++at)
        number = text[at] < '0' || text[at] > '9' ? -1 : std::min(10 * number + text[at] - '0', 1 << 16);
    return number > 65535 || (minus && number > 0) ? -1 : number;
}

// Copies pieces of the input over zeros, in memory that ends with the record.
template <typename Record>
std::unique_ptr<Record> record(Input &in) {
    auto result = std::make_unique<Record>();
    for (unsigned pieces = in.byte() % 8; pieces > 0; --pieces) {
        const size_t at = in.word() % sizeof(Record);
        in.text().copy(reinterpret_cast<char *>(result.get()) + at, sizeof(Record) - at);
    }
    return result;
}

// Checks: the code is known; an invalid record gives INVALID_VALUE and no request; a job only with success.
void check(bool valid, XAVO_ErrorCode ec, char **job) {
    assert(valid ? strcmp(XAVO_EC_to_string(ec), "unknown") != 0 : ec == XAVO_INVALID_VALUE);
    assert(valid || cimsim_request_count() == 0);
    assert(job == nullptr || (*job != nullptr) == (ec == XAVO_NO_ERROR));
    if (job != nullptr)
        free(*job);
    cimsim_reset();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in = {data, size};
    XAVO_ErrorCode ec = -1;
    char *job = nullptr;
    cimsim_reset();
    XAVO_Proxy *sp = XAVO_new();

    const auto share = record<XAVO_NET_INPUT_DATA>(in);
    assert((XAVO_Validate_XAVO_NET_INPUT_DATA(share.get()) != 0) == valid(*share));
    assert((XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA(&share->http) != 0) == valid(share->http));
    XAVO_invoke_TestNetworkShare(sp, &ec, share.get());
    check(valid(*share), ec, nullptr);

    const auto image = record<XAVO_BAR_INPUT_DATA>(in);
    assert((XAVO_Validate_XAVO_BAR_INPUT_DATA(image.get()) != 0) == valid(*image));
    XAVO_invoke_BackupRestore(sp, &ec, in.text().c_str(), image.get(), &job);
    check(valid(*image), ec, &job);

    const std::string type = in.text().c_str();
    XAVO_invoke_CreateRebootJob(sp, &ec, type.c_str(), &job);
    const cimsim_request *request = cimsim_last_request();
    assert(request == nullptr || request->arguments[0].text == std::to_string(reboot_type(type)));
    assert((request != nullptr) == (reboot_type(type) >= 0));
    check(reboot_type(type) >= 0, ec, &job);
    XAVO_free(sp);
    return 0;
}
