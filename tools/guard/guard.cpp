// guard.cpp - guarded handles: every slot of the client forwarded, and watched on its way.
#include "guard.h"

#include <cstdlib>
#include <cstring>

namespace xavo_companion {

namespace {

constexpr uint64_t USUAL_QUIET_MS = 1000;

Guard *guard_behind(CMCIClient *client) { return static_cast<Guard *>(client->hdl); }

template <typename Object>
void release(Object *object) {
    if (object != nullptr)
        object->ft->release(object);
}

// The answer to an exchange: rc 1 is what a lost connection gives, all else shows that somebody is there.
void heard(Guard *guard, CMPIrc rc) {
    guard->trusted = rc != CMPI_RC_ERR_FAILED;
    if (guard->trusted)
        guard->good_at = now_ms();
    else if (guard->loan.lent)
        loan_lost(guard->loan);
}

// Copies a text, cut between characters of UTF-8 where it does not fit.
template <size_t size>
bool copy_text(char (&buffer)[size], const char *text) {
    size_t length = strnlen(text, size);
    const bool cut = length == size;
    if (cut) {
        --length;
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0U) == 0x80U)
            --length;
    }
    for (size_t i = 0; i < length; ++i)
        buffer[i] = text[i];
    buffer[length] = '\0'; // the service's words may come over the broker's
    return cut;
}

template <size_t size>
void keep_text(XAVO_Reason *met, char (&buffer)[size], CMPIString *string) {
    const char *text = string != nullptr ? string->ft->getCharPtr(string, nullptr) : nullptr;
    if (text != nullptr && copy_text(buffer, text))
        met->cut = 1;
}

// Reads a string output; its object is released here, on the thread that read it.
template <size_t size>
void keep_output(XAVO_Reason *met, char (&buffer)[size], CMPIArgs *outputs, const char *name) {
    CMPIStatus status = {CMPI_RC_OK, nullptr};
    CMPIData data = outputs->ft->getArg(outputs, name, &status);
    release(status.msg);
    if (status.rc != CMPI_RC_OK)
        return;
    if (data.type == CMPI_string && data.state == CMPI_goodValue)
        keep_text(met, buffer, data.value.string);
    XAVO_free_CMPIData_value(&data);
}

// Begins the note of an exchange that is over.
XAVO_Reason *note(Guard *guard, Note::Exchange exchange, const CMPIStatus &status) {
    guard->note = {};
    guard->note.exchange = exchange;
    guard->note.met.rc = status.rc;
    if (status.rc != CMPI_RC_OK)
        keep_text(&guard->note.met, guard->note.met.message, status.msg);
    return &guard->note.met;
}

void note_method(Guard *guard, const CMPIStatus &status, const CMPIData &returned, CMPIArgs *outputs) {
    XAVO_Reason *met = note(guard, Note::METHOD, status);
    heard(guard, status.rc);
    if (returned.type == CMPI_uint32 && (returned.state & ~CMPI_keyValue) == CMPI_goodValue) {
        met->has_return_value = 1;
        met->return_value = static_cast<uint32_t>(returned.value.uint32 & 0xffffffffU);
    }
    if (outputs == nullptr || outputs->ft->getArgCount(outputs, nullptr) == 0)
        return;
    guard->note.has_outputs = true;
    keep_output(met, met->message_id, outputs, "MessageID");
    keep_output(met, met->message, outputs, "Message");
}

// A slot that is forwarded with the values it was given. What it meets is noted where it says so.
template <auto slot, Note::Exchange exchange>
struct Forward;

template <typename Result, typename... Given, Result (*CMCIClientFT::*slot)(CMCIClient *, Given...),
          Note::Exchange exchange>
struct Forward<slot, exchange> {
    static Result call(CMCIClient *self, Given... given) {
        Guard *guard = guard_behind(self);
        Result result = (guard->inner->ft->*slot)(guard->inner, given...);
        const CMPIStatus *status = nullptr;
        (look(given, &status), ...);
        look_at_result(result, &status);
        if (status != nullptr) {
            note(guard, exchange, *status);
            heard(guard, status->rc);
        }
        return result;
    }

private:
    static void look(CMPIStatus *given, const CMPIStatus **status) { *status = given; }
    template <typename Other>
    static void look(const Other &, const CMPIStatus **) {}
    static void look_at_result(const CMPIStatus &result, const CMPIStatus **status) { *status = &result; }
    template <typename Other>
    static void look_at_result(const Other &, const CMPIStatus **) {}
};

CMPIStatus guard_release(CMCIClient *self) {
    Guard *guard = guard_behind(self);
    const CMPIStatus status = guard->inner->ft->release(guard->inner);
    if (guard->loan.lent)
        loan_ended(guard->loan);
    free(guard);
    return status;
}

CMCIClient *guard_clone(CMCIClient *, CMPIStatus *rc) {
    if (rc != nullptr)
        *rc = {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
    return nullptr;
}

// Whether the connection has to show first that it is alive.
bool in_doubt(const Guard *guard) { return !guard->trusted || now_ms() - guard->good_at >= guard->quiet_ms; }

CMPIData guard_invokeMethod(CMCIClient *self, CMPIObjectPath *op, const char *method, CMPIArgs *in,
                            CMPIArgs *out, CMPIStatus *rc) {
    Guard *guard = guard_behind(self);
    CMCIClient *inner = guard->inner;
    if (rc == nullptr) // no method is called then, nor can one say what it met
        return inner->ft->invokeMethod(inner, op, method, in, out, rc);
    if (in_doubt(guard) && !answers(guard, op, rc)) {
        CMPIData none = {};
        none.state = CMPI_notFound;
        return none;
    }
    const CMPIData returned = inner->ft->invokeMethod(inner, op, method, in, out, rc);
    note_method(guard, *rc, returned, out);
    return returned;
}

template <auto slot, Note::Exchange exchange = Note::READ>
void forward(CMCIClientFT *table) {
    if (table->*slot != nullptr)
        table->*slot = Forward<slot, exchange>::call;
}

// Turns a copy of the inner client's table into one of ours; a slot that is missing there stays so.
void forward_all(CMCIClientFT *table) {
    table->release = guard_release;
    if (table->clone != nullptr)
        table->clone = guard_clone;
    if (table->invokeMethod != nullptr)
        table->invokeMethod = guard_invokeMethod;
    forward<&CMCIClientFT::getClass>(table);
    forward<&CMCIClientFT::enumClassNames>(table);
    forward<&CMCIClientFT::enumClasses>(table);
    forward<&CMCIClientFT::getInstance>(table);
    forward<&CMCIClientFT::createInstance, Note::WRITE>(table);
    forward<&CMCIClientFT::setInstance, Note::WRITE>(table);
    forward<&CMCIClientFT::deleteInstance, Note::WRITE>(table);
    forward<&CMCIClientFT::execQuery>(table);
    forward<&CMCIClientFT::enumInstanceNames>(table);
    forward<&CMCIClientFT::enumInstances>(table);
    forward<&CMCIClientFT::associators>(table);
    forward<&CMCIClientFT::associatorNames>(table);
    forward<&CMCIClientFT::references>(table);
    forward<&CMCIClientFT::referenceNames>(table);
    forward<&CMCIClientFT::setProperty, Note::WRITE>(table);
    forward<&CMCIClientFT::getProperty>(table);
}

bool is_guarded(const CMCIClient *client) { return client->ft->release == guard_release; }

bool can_be_asked(const XAVO_Proxy *sp) {
    return XAVO_is_valid(sp) != 0 && sp->client != nullptr && sp->client->ft != nullptr;
}

} // namespace

uint64_t now_ms() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

timespec at(uint64_t ms) { return {static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000}; }

void pause_for(uint64_t ms) {
    const timespec time = at(ms);
    clock_nanosleep(CLOCK_MONOTONIC, 0, &time, nullptr);
}

Guard *guard_of(XAVO_Proxy *sp, XAVO_ErrorCode *code) {
    *code = XAVO_NO_ERROR;
    if (!can_be_asked(sp))
        *code = XAVO_SP_NOT_VALID;
    else if (!is_guarded(sp->client))
        *code = XAVO_NOT_SUPPORTED;
    else
        return guard_behind(sp->client);
    return nullptr;
}

bool answers(Guard *guard, CMPIObjectPath *path, CMPIStatus *status) {
    *status = {CMPI_RC_OK, nullptr};
    CMPIConstClass *known = guard->inner->ft->getClass(guard->inner, path, 0, nullptr, status);
    const bool found = known != nullptr && status->rc == CMPI_RC_OK;
    release(known);
    if (!found && status->rc == CMPI_RC_OK) // success, and no class: the method call would crash all the same
        status->rc = CMPI_RC_ERR_FAILED;
    if (found) {
        release(status->msg);
        status->msg = nullptr;
    } else {
        note(guard, Note::READ, *status);
    }
    heard(guard, status->rc);
    return found;
}

} // namespace xavo_companion

using namespace xavo_companion;

XAVO_ErrorCode XAVO_guard(XAVO_Proxy *sp) {
    if (!can_be_asked(sp))
        return XAVO_SP_NOT_VALID;
    if (is_guarded(sp->client))
        return XAVO_INVALID_VALUE;
    if (sp->client->ft->getClass == nullptr || sp->client->ft->release == nullptr)
        return XAVO_NOT_SUPPORTED;
    auto *guard = static_cast<Guard *>(calloc(1, sizeof(Guard)));
    if (guard == nullptr)
        return XAVO_OUT_OF_MEMORY;
    guard->inner = sp->client;
    guard->table = *sp->client->ft;
    forward_all(&guard->table);
    guard->face = {guard, &guard->table};
    guard->quiet_ms = USUAL_QUIET_MS;
    sp->client = &guard->face;
    return XAVO_NO_ERROR;
}

XAVO_ErrorCode XAVO_set_quiet_time(XAVO_Proxy *sp, unsigned int milliseconds) {
    XAVO_ErrorCode code;
    if (Guard *guard = guard_of(sp, &code)) {
        XAVO_lock(sp);
        guard->quiet_ms = milliseconds;
        XAVO_unlock(sp);
    }
    return code;
}
