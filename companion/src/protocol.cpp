// protocol.cpp - writing and reading frames.
#include "protocol.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

namespace xavo_companion {

namespace {

constexpr size_t LONGEST = sizeof(FrameHeader) + LONGEST_FRAME;

// The members of a request that are plain text, by their tags and places.
constexpr struct {
    uint8_t tag, offset;
} REQUEST_TEXTS[] = {
    {TAG_USER, offsetof(XAVO_Request, user)},
    {TAG_ID, offsetof(XAVO_Request, id)},
    {TAG_CLASS_NAME, offsetof(XAVO_Request, class_name)},
    {TAG_NAME_SPACE, offsetof(XAVO_Request, name_space)},
    {TAG_START_TIME, offsetof(XAVO_Request, start_time)},
    {TAG_UNTIL_TIME, offsetof(XAVO_Request, until_time)},
    {TAG_URI, offsetof(XAVO_Request, uri)},
    {TAG_REBOOT_TYPE, offsetof(XAVO_Request, reboot_type)},
};

void wipe_and_free(void *memory, size_t size) {
    if (memory != nullptr)
        explicit_bzero(memory, size);
    free(memory);
}

} // namespace

// ---- Writer -------------------------------------------------------------------------------------

Writer::Writer(FrameType type) {
    const FrameHeader header = {PROTOCOL_VERSION, type, 0};
    bytes(&header, sizeof header);
}

Writer::~Writer() { wipe_and_free(data_, size_); }

// Does not use realloc, which leaves copies of secrets in freed memory.
bool Writer::grow(size_t more) {
    if (failed_ || more > LONGEST - size_) {
        too_long_ = too_long_ || !failed_;
        failed_ = true;
        return false;
    }
    if (more <= room_ - size_)
        return true;
    size_t room = room_ + room_ / 2 + more;
    if (room < 2048)
        room = 2048;
    auto *larger = static_cast<char *>(malloc(room));
    if (larger == nullptr) {
        failed_ = true;
        return false;
    }
    if (size_ > 0)
        memcpy(larger, data_, size_);
    wipe_and_free(data_, size_);
    data_ = larger;
    room_ = room;
    return true;
}

void Writer::bytes(const void *value, size_t size) {
    if (!grow(size))
        return;
    memcpy(data_ + size_, value, size);
    size_ += size;
}

void Writer::field(Tag tag, const void *value, size_t size) {
    const size_t begun = begin(tag);
    bytes(value, size);
    end(begun);
}

void Writer::text(Tag tag, const char *value) {
    if (value != nullptr)
        field(tag, value, strlen(value) + 1);
}

size_t Writer::begin(Tag tag) {
    const FieldHeader header = {tag, 0, 0};
    bytes(&header, sizeof header);
    return size_;
}

void Writer::end(size_t begun) {
    if (failed_)
        return;
    const auto length = static_cast<uint32_t>(size_ - begun);
    memcpy(data_ + begun - sizeof length, &length, sizeof length);
}

void Writer::item(const char *value) {
    const size_t size = value != nullptr ? strlen(value) + 1 : 0;
    const auto length = static_cast<uint32_t>(size); // a longer text makes the frame too long anyway
    bytes(&length, sizeof length);
    if (value != nullptr)
        bytes(value, size);
}

void Writer::job(const XAVO_VELK_LifecycleJob &job) {
    const size_t begun = begin(TAG_JOB);
    for (const auto text : JOB_TEXTS)
        item(text_of(job, text));
    end(begun);
}

bool Writer::finish() {
    if (failed_)
        return false;
    const auto length = static_cast<uint32_t>(size_ - sizeof(FrameHeader));
    memcpy(data_ + offsetof(FrameHeader, length), &length, sizeof length);
    return true;
}

void Writer::truncate(size_t size) {
    if (size > size_ || data_ == nullptr)
        return;
    explicit_bzero(data_ + size, size_ - size);
    size_ = size;
    failed_ = too_long_ = false;
}

void write_request(Writer *writer, const XAVO_Request &request, uint64_t deadline, int log_level) {
    writer->number(TAG_SEQUENCE, 0);
    writer->number(TAG_OPERATION, static_cast<uint32_t>(request.operation));
    writer->long_number(TAG_DEADLINE, deadline);
    writer->number(TAG_LEVEL, static_cast<uint32_t>(log_level));
    for (const auto &row : REQUEST_TEXTS)
        writer->text(static_cast<Tag>(row.tag), *reinterpret_cast<const char *const *>(
                                                    reinterpret_cast<const char *>(&request) + row.offset));
    if (request.job_ids != nullptr) {
        const size_t begun = writer->begin(TAG_JOB_IDS);
        for (char *const *id = request.job_ids; *id != nullptr; ++id)
            writer->item(*id);
        writer->end(begun);
    }
    writer->record(TAG_IMAGE, request.image, sizeof *request.image);
    writer->record(TAG_SHARE, request.share, sizeof *request.share);
}

void set_sequence(char *frame, uint32_t sequence) {
    memcpy(frame + sizeof(FrameHeader) + sizeof(FieldHeader), &sequence, sizeof sequence);
}

// ---- Receiver -----------------------------------------------------------------------------------

void free_frame(Frame *frame) {
    if (frame == nullptr)
        return;
    wipe_and_free(frame->block, frame->blocks);
    wipe_and_free(frame, sizeof *frame + frame->length);
}

void Receiver::reset() {
    if (frame_ != nullptr) // wipe only the part that was received
        frame_->length = static_cast<uint32_t>(received_ - sizeof header_);
    free_frame(frame_);
    frame_ = nullptr;
    received_ = 0;
}

Receiver::Result Receiver::receive(int socket, int flags, Frame **frame) {
    for (;;) {
        char *to = reinterpret_cast<char *>(&header_) + received_;
        size_t size = sizeof header_ - received_;
        if (received_ >= sizeof header_) {
            const size_t offset = received_ - sizeof header_;
            to = frame_->fields() + offset;
            size = header_.length - offset;
            if (size == 0) {
                *frame = frame_;
                frame_ = nullptr;
                received_ = 0;
                return FRAME;
            }
        }
        const ssize_t count = recv(socket, to, size, flags);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return AGAIN;
        if (count <= 0)
            return END;
        received_ += static_cast<size_t>(count);
        if (received_ != sizeof header_)
            continue;
        if (header_.version != PROTOCOL_VERSION)
            return VERSION;
        if (header_.length > LONGEST_FRAME)
            return BROKEN;
        frame_ = static_cast<Frame *>(malloc(sizeof *frame_ + header_.length));
        if (frame_ == nullptr)
            return NO_MEMORY;
        *frame_ = {header_.type, header_.length, nullptr, 0, nullptr};
    }
}

// ---- Reader -------------------------------------------------------------------------------------

bool Reader::next() {
    FieldHeader header;
    const auto left = static_cast<size_t>(end_ - at_);
    if (!ok_ || left == 0)
        return false;
    if (left < sizeof header)
        return fail();
    memcpy(&header, at_, sizeof header);
    if (header.length > left - sizeof header)
        return fail();
    tag_ = header.tag;
    length_ = header.length;
    value_ = at_ + sizeof header;
    at_ = value_ + length_;
    return true;
}

bool Reader::copy(void *value, size_t size) {
    if (length_ != size)
        return fail();
    memcpy(value, value_, size);
    return true;
}

bool Reader::text(const char **value) {
    if (length_ == 0 || value_[length_ - 1] != '\0')
        return fail();
    *value = value_;
    return true;
}

bool Reader::record(const void **value, size_t size) {
    if (length_ != size)
        return fail();
    *value = value_;
    return true;
}

bool Reader::item(char **value) {
    uint32_t length;
    const auto left = static_cast<size_t>(end_ - at_);
    if (!ok_ || left == 0)
        return false;
    if (left < sizeof length)
        return fail();
    memcpy(&length, at_, sizeof length);
    char *text = at_ + sizeof length;
    if (length > left - sizeof length || (length > 0 && text[length - 1] != '\0'))
        return fail();
    *value = length > 0 ? text : nullptr;
    at_ = text + length;
    return true;
}

// ---- Requests -----------------------------------------------------------------------------------

ReceivedRequest::~ReceivedRequest() {
    free(job_ids);
    explicit_bzero(&image, sizeof image);
    explicit_bzero(&share, sizeof share);
}

namespace {

// The texts of a field as a list that ends with NULL.
char **list_of(const Reader &items) {
    size_t count = 0;
    char *text;
    Reader counted = items;
    while (counted.item(&text))
        ++count;
    auto **list = counted.ok() ? static_cast<char **>(calloc(count + 1, sizeof(char *))) : nullptr;
    Reader filled = items;
    for (size_t i = 0; list != nullptr && filled.item(&text); ++i)
        list[i] = text;
    return list;
}

} // namespace

bool ReceivedRequest::decode(Frame *frame) {
    Reader fields(frame->fields(), frame->length);
    while (fields.next()) {
        uint32_t operation;
        const void *bytes;
        switch (fields.tag()) {
        case TAG_SEQUENCE:
            fields.number(&sequence);
            break;
        case TAG_OPERATION:
            if (fields.number(&operation))
                request.operation = static_cast<int>(operation);
            break;
        case TAG_DEADLINE:
            fields.long_number(&deadline);
            break;
        case TAG_LEVEL:
            fields.number(&log_level);
            break;
        case TAG_JOB_IDS:
            free(job_ids);
            job_ids = list_of(fields.fields());
            request.job_ids = job_ids;
            if (job_ids == nullptr)
                return false;
            break;
        case TAG_IMAGE:
            if (fields.record(&bytes, sizeof image))
                request.image = static_cast<XAVO_BAR_INPUT_DATA *>(memcpy(&image, bytes, sizeof image));
            break;
        case TAG_SHARE:
            if (fields.record(&bytes, sizeof share))
                request.share = static_cast<XAVO_NET_INPUT_DATA *>(memcpy(&share, bytes, sizeof share));
            break;
        default:
            for (const auto &row : REQUEST_TEXTS)
                if (row.tag == fields.tag())
                    fields.text(
                        reinterpret_cast<const char **>(reinterpret_cast<char *>(&request) + row.offset));
        }
    }
    return fields.ok();
}

namespace {

bool has_secret(const XAVO_HTTP_SHARE_OPT_DATA &http) { return http.proxyPasswd[0] != '\0'; }

} // namespace

bool has_secret(const XAVO_Request &request) {
    switch (request.operation) {
    case XAVO_OP_BACKUP_IMAGE:
    case XAVO_OP_RESTORE_IMAGE:
        return request.image != nullptr &&
               (request.image->passwd[0] != '\0' || request.image->passphrase[0] != '\0' ||
                has_secret(request.image->http));
    case XAVO_OP_TEST_NETWORK_SHARE:
        return request.share != nullptr &&
               (request.share->passwd[0] != '\0' || has_secret(request.share->http));
    case XAVO_OP_INSTALL_FROM_URI:
        // "user:password@" before the host. All of it is searched: a password may have any character.
        return request.uri != nullptr && strchr(request.uri, '@') != nullptr;
    default:
        return false;
    }
}

// ---- Answers ------------------------------------------------------------------------------------

namespace {

// The numbers of an answer's parts; in the second pass, the index of the next part.
struct Contents {
    size_t jobs, instances, properties, texts;
};

struct Arrays {
    XAVO_VELK_LifecycleJob *jobs;
    XAVO_Instance *instances;
    XAVO_Property *properties;
    char **texts;
};

// Called in two passes over a frame: the first counts (`into` is NULL), the second stores.
bool read_property(Reader items, Contents *contents, const Arrays *into) {
    char *name, *type, *form, *text;
    if (!items.item(&name) || !items.item(&type) || !items.item(&form) || name == nullptr ||
        type == nullptr || form == nullptr)
        return false;
    const bool array = strchr(form, 'a') != nullptr, null = strchr(form, 'n') != nullptr;
    const size_t first = contents->texts;
    while (items.item(&text)) {
        if (text == nullptr && !array)
            return false;
        if (into != nullptr)
            into->texts[contents->texts] = text;
        ++contents->texts;
    }
    const size_t count = contents->texts - first;
    if (null ? count > 0 : !array && count != 1)
        return false;
    if (into != nullptr)
        into->properties[contents->properties] = {name, type, array, null, count, into->texts + first};
    ++contents->properties;
    return items.ok();
}

bool read_instance(Reader fields, Contents *contents, const Arrays *into) {
    const size_t first = contents->properties;
    const char *class_name = "";
    while (fields.next()) {
        if (fields.tag() == TAG_CLASS_NAME)
            fields.text(&class_name);
        else if (fields.tag() == TAG_PROPERTY && !read_property(fields.fields(), contents, into))
            return false;
    }
    if (into != nullptr)
        into->instances[contents->instances] = {class_name, contents->properties - first,
                                                into->properties + first};
    ++contents->instances;
    return fields.ok();
}

bool read_job(Reader items, Contents *contents, const Arrays *into) {
    XAVO_VELK_LifecycleJob ignored;
    XAVO_VELK_LifecycleJob *job = into != nullptr ? &into->jobs[contents->jobs] : &ignored;
    for (const auto text : JOB_TEXTS)
        if (!items.item(&text_of(*job, text)))
            return false;
    job->next = nullptr;
    if (into != nullptr && contents->jobs > 0)
        into->jobs[contents->jobs - 1].next = job;
    ++contents->jobs;
    return true;
}

bool read_lists(Frame *frame, Contents *contents, const Arrays *into) {
    Reader fields(frame->fields(), frame->length);
    bool valid = true;
    while (valid && fields.next()) {
        if (fields.tag() == TAG_JOB)
            valid = read_job(fields.fields(), contents, into);
        else if (fields.tag() == TAG_INSTANCE)
            valid = read_instance(fields.fields(), contents, into);
    }
    return valid && fields.ok();
}

bool read_values(Frame *frame, XAVO_Answer *answer, AnswerExtra *extra) {
    Reader fields(frame->fields(), frame->length);
    while (fields.next()) {
        uint32_t value = 0;
        if (fields.tag() < TAG_MESSAGE_ID && (fields.tag() >= TAG_CODE || fields.tag() == TAG_SEQUENCE))
            fields.number(&value);
        switch (fields.tag()) {
        case TAG_SEQUENCE:
            extra->sequence = value;
            break;
        case TAG_FLAGS:
            extra->flags = value;
            break;
        case TAG_CODE:
            answer->code = static_cast<XAVO_ErrorCode>(value);
            break;
        case TAG_KIND:
            answer->kind = static_cast<int>(value);
            break;
        case TAG_LEVEL: // of a log frame
            fields.number(&value);
            [[fallthrough]];
        case TAG_STATUS:
            answer->status = static_cast<int>(value);
            break;
        case TAG_RETURN_VALUE:
            answer->has_return_value = 1;
            answer->return_value = value;
            break;
        case TAG_UNREADABLE:
            answer->unreadable = value;
            break;
        case TAG_LOST_LINES:
            answer->lost_lines = value;
            break;
        case TAG_MESSAGE_ID:
            fields.text(&answer->message_id);
            break;
        case TAG_MESSAGE:
            fields.text(&answer->message);
            break;
        case TAG_JOB_ID:
            fields.text(&answer->job_id);
            break;
        default:
            break;
        }
    }
    return fields.ok();
}

} // namespace

DecodeResult decode_answer(Frame *frame, XAVO_Answer *answer, AnswerExtra *extra) {
    Contents contents = {};
    *extra = {};
    if (!read_values(frame, answer, extra) || !read_lists(frame, &contents, nullptr)) {
        *answer = {};
        return DECODE_BROKEN;
    }
    const size_t sizes[] = {contents.jobs * sizeof(XAVO_VELK_LifecycleJob),
                            contents.instances * sizeof(XAVO_Instance),
                            contents.properties * sizeof(XAVO_Property), contents.texts * sizeof(char *)};
    const size_t total = sizes[0] + sizes[1] + sizes[2] + sizes[3];
    if (total > 0) {
        auto *block = static_cast<char *>(malloc(total));
        if (block == nullptr) {
            *answer = {};
            return DECODE_NO_MEMORY;
        }
        frame->block = block;
        frame->blocks = total;
        const Arrays arrays = {reinterpret_cast<XAVO_VELK_LifecycleJob *>(block),
                               reinterpret_cast<XAVO_Instance *>(block + sizes[0]),
                               reinterpret_cast<XAVO_Property *>(block + sizes[0] + sizes[1]),
                               reinterpret_cast<char **>(block + sizes[0] + sizes[1] + sizes[2])};
        Contents filled = {};
        read_lists(frame, &filled, &arrays);
        answer->jobs = contents.jobs > 0 ? arrays.jobs : nullptr;
        answer->instances = contents.instances > 0 ? arrays.instances : nullptr;
    }
    answer->job_count = contents.jobs;
    answer->instance_count = contents.instances;
    answer->storage = frame;
    return DECODED;
}

} // namespace xavo_companion
