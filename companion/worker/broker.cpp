#include "broker.h"

#include "channel.h"
#include "libxavo.h"
#include "value.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

namespace xavo_worker {

using namespace xavo_companion;

namespace {

bool is_good(const CMPIData &data) { return (data.state & ~CMPI_keyValue) == CMPI_goodValue; }

// Returns a new string; NULL if there are no characters or there is no memory.
char *copy_characters(CMPIString *text) {
    const char *characters = text != nullptr ? text->ft->getCharPtr(text, nullptr) : nullptr;
    return characters != nullptr && characters[0] != '\0' ? strdup(characters) : nullptr;
}

// Returns a copy of a string output, which is read and released on this thread; or NULL.
char *copy_output(CMPIArgs *outputs, const char *name) {
    CMPIStatus status = {CMPI_RC_OK, nullptr};
    CMPIData data = outputs->ft->getArg(outputs, name, &status);
    release(status.msg);
    if (status.rc != CMPI_RC_OK)
        return nullptr;
    char *copy = is_good(data) && data.type == CMPI_string ? copy_characters(data.value.string) : nullptr;
    libxavo.XAVO_free_CMPIData_value(&data);
    return copy;
}

Broker *broker_of(CMCIClient *face) { return static_cast<Broker *>(face->hdl); }

bool same_user(const char *a, const char *b) {
    return strcmp(a != nullptr ? a : "root", b != nullptr ? b : "root") == 0;
}

} // namespace

uint64_t now_ms() {
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

// ---- The handle

XAVO_Proxy *Broker::begin(const CallContext &context, const char *user) {
    context_ = context;
    forget();
    if (handle_ != nullptr && !same_user(user_, user))
        close();
    if (handle_ == nullptr && !open(user))
        close();
    set_stage(context.shared, handle_ != nullptr ? STAGE_OPEN : STAGE_READY);
    return handle_;
}

// Returns false if there is no handle, or its client is incomplete.
bool Broker::open(const char *user) {
    set_stage(context_.shared, STAGE_OPENING);
    catch_error_line();
    used_ = failed_ = false;
    user_ = user != nullptr ? strdup(user) : nullptr;
    if (user == nullptr || user_ != nullptr)
        handle_ = libxavo.XAVO_new_with_uname(user);
    met_.message = take_error_line();
    if (handle_ == nullptr || !stand_in())
        return false;
    forget();
    return true;
}

// Replaces the handle's client by face_. Returns false if the client lacks a function.
bool Broker::stand_in() {
    CMCIClient *client = handle_->client;
    const CMCIClientFT *inner = client->ft;
    if (inner->release == nullptr || inner->getClass == nullptr || inner->getInstance == nullptr ||
        inner->enumInstances == nullptr || inner->invokeMethod == nullptr)
        return false;
    inner_ = client;
    table_ = {};
    table_.ftVersion = inner->ftVersion;
    table_.getInstance = get_instance;
    table_.enumInstances = enum_instances;
    table_.invokeMethod = invoke_method;
    face_.hdl = this;
    face_.ft = &table_;
    handle_->client = &face_;
    return true;
}

void Broker::end() {
    set_stage(context_.shared, STAGE_READY);
    forget();
    used_ = true;
    if (failed_)
        close();
}

void Broker::close() {
    if (handle_ != nullptr) {
        if (inner_ != nullptr)
            handle_->client = inner_;
        libxavo.XAVO_free(handle_);
    }
    inner_ = nullptr;
    handle_ = nullptr;
    free(user_);
    user_ = nullptr;
}

// ---- What an exchange brought

void Broker::forget() {
    free(met_.message_id);
    free(met_.message);
    met_ = {};
}

void Broker::note(Met::Exchange exchange, const CMPIStatus &status) {
    forget();
    met_.exchange = exchange;
    met_.status = status.rc;
    if (status.rc != CMPI_RC_OK)
        met_.message = copy_characters(status.msg);
    if (status.rc == CMPI_RC_ERR_FAILED)
        failed_ = true;
}

void Broker::note_method(const CMPIStatus &status, const CMPIData &returned, CMPIArgs *outputs) {
    note(Met::METHOD, status);
    if (returned.type == CMPI_uint32 && is_good(returned)) {
        met_.has_return_value = true;
        met_.return_value = static_cast<uint32_t>(returned.value.uint32 & 0xffffffffU);
    }
    if (outputs == nullptr || outputs->ft->getArgCount(outputs, nullptr) == 0)
        return;
    met_.has_outputs = true;
    met_.message_id = copy_output(outputs, "MessageID");
    char *words = copy_output(outputs, "Message");
    if (words != nullptr) {
        free(met_.message);
        met_.message = words;
    }
}

// ---- The client's slots

CMPIEnumeration *Broker::enum_instances(CMCIClient *self, CMPIObjectPath *path, CMPIFlags flags,
                                        char **properties, CMPIStatus *status) {
    Broker *broker = broker_of(self);
    CMPIEnumeration *found =
        broker->inner_->ft->enumInstances(broker->inner_, path, flags, properties, status);
    broker->note(Met::READ, *status);
    return found;
}

CMPIInstance *Broker::get_instance(CMCIClient *self, CMPIObjectPath *path, CMPIFlags flags, char **properties,
                                   CMPIStatus *status) {
    Broker *broker = broker_of(self);
    CMPIInstance *found = broker->inner_->ft->getInstance(broker->inner_, path, flags, properties, status);
    broker->note(Met::READ, *status);
    return found;
}

// Returns whether the broker has the class. If not, notes the status, which is also in *status.
bool Broker::probe(CMPIObjectPath *path, CMPIStatus *status) {
    *status = {CMPI_RC_OK, nullptr};
    CMPIConstClass *known = inner_->ft->getClass(inner_, path, 0, nullptr, status);
    const bool found = known != nullptr && status->rc == CMPI_RC_OK;
    release(known);
    if (!found && status->rc == CMPI_RC_OK) // success without a class: the method call would crash, too
        status->rc = CMPI_RC_ERR_FAILED;
    note(Met::READ, *status);
    if (found) {
        release(status->msg);
        *status = {CMPI_RC_OK, nullptr};
    }
    return found;
}

// Claims the invocation. Nothing between the claim and the invocation may fail.
bool Broker::may_invoke() const {
    return now_ms() < context_.deadline && claim(context_.shared, context_.sequence, CLAIM_WORKER);
}

CMPIData Broker::invoke_method(CMCIClient *self, CMPIObjectPath *path, const char *method, CMPIArgs *in,
                               CMPIArgs *out, CMPIStatus *status) {
    Broker *broker = broker_of(self);
    CMPIData none = {};
    none.state = CMPI_notFound;
    if (!broker->probe(path, status))
        return none;
    if (!broker->may_invoke()) {
        status->rc = CMPI_RC_ERR_FAILED;
        broker->met_.withheld = true;
        return none;
    }
    const CMPIData returned = broker->inner_->ft->invokeMethod(broker->inner_, path, method, in, out, status);
    broker->note_method(*status, returned, out);
    return returned;
}

} // namespace xavo_worker
