// slots_test.cpp - every slot by its name; values as they go in and come out; calls that are recorded and
// made to fail.
#include "raw.h"

#include <cstdlib>
#include <cstring>
#include <utility>

using namespace raw;

namespace {

class Slots : public Raw {
protected:
    // Calls a slot with nothing but zeros, and says what status came of it.
    template <class R, class Face, class... Rest>
    CMPIrc with_zeros(R (*slot)(Face *, Rest...), Face *self) {
        st.rc = CMPI_RC_OK;
        const auto zero = [&](auto none) {
            if constexpr (std::is_same_v<decltype(none), CMPIStatus *>)
                return &st;
            else
                return none;
        };
        if constexpr (std::is_same_v<R, CMPIStatus>)
            return slot(self, zero(Rest{})...).rc;
        else
            return slot(self, zero(Rest{})...), st.rc;
    }
    // Whatever the value makes, handed out as a method's output.
    CMPIData output(cimsim_value *value, const Own<CMPIArgs> &out) {
        cimsim_answer_output("Out", value);
        call(out.get());
        return out->ft->getArg(out.get(), "Out", &st);
    }
};

TEST_F(Slots, AreCountedByTheirNamesAndOnlySomeAreSupported) {
    cimsim_add_job("job", "", CIMSIM_NEVER, 0, 0);
    const auto of = job_path("job");
    const Own<CMPIArgs> args(native_new_CMPIArgs(nullptr));
    const Own<CMPIString> string(native_new_CMPIString("", nullptr));
    const Own<CMPIArray> array(native_new_CMPIArray(1, CMPI_string, nullptr));
    const Own<CMPIEnumeration> jobs(client->ft->enumInstances(client, of.get(), 0, nullptr, nullptr));
    const Own<CMPIInstance> instance(client->ft->getInstance(client, of.get(), 0, nullptr, nullptr));
    const Own<CMPIConstClass> job_class(client->ft->getClass(client, of.get(), 0, nullptr, nullptr));
    CMPIDateTime *const time = output(cimsim_datetime("t"), args).value.dateTime;
    CMPIArgs *const CMPIArgs_ = args.get();
    CMPIString *const CMPIString_ = string.get();
    CMPIArray *const CMPIArray_ = array.get();
    CMPIEnumeration *const CMPIEnumeration_ = jobs.get();
    CMPIInstance *const CMPIInstance_ = instance.get();
    CMPIDateTime *const CMPIDateTime_ = time;
    CMPIObjectPath *const CMPIObjectPath_ = of.get();
    CMCIClient *const CMCIClient_ = client;
    std::string supported;
#define SLOT(object, number, slot)                                                                           \
    {                                                                                                        \
        const unsigned long before = cimsim_calls(#object "." #slot), all = cimsim_calls(nullptr);           \
        if (with_zeros(object##_->ft->slot, object##_) != CMPI_RC_ERR_NOT_SUPPORTED)                         \
            supported += " " #slot;                                                                          \
        EXPECT_EQ(cimsim_calls(#object "." #slot), before + 1) << #object "." #slot;                         \
        EXPECT_GT(cimsim_calls(nullptr), all);                                                               \
    }
#include "slots.def"
    EXPECT_EQ(supported,
              " getCharPtr getSize getSimpleType getElementAt setElementAt addArg getArg getArgAt "
              "getArgCount getNext hasNext setNameSpace getNameSpace setHostname getHostname "
              "setClassName getClassName addKey getKey getKeyAt getKeyCount setNameSpaceFromObjectPath "
              "setHostAndNameSpaceFromObjectPath toString getProperty getPropertyAt getPropertyCount "
              "setProperty getStringFormat isInterval getClass getInstance enumInstances invokeMethod");
    cimsim_count_misuse(1); // of exchanges about no path, and of copying from none
    const auto cloned = [](const char *name, const auto *object) {
        const std::string slot = name;
        const unsigned long clones = cimsim_calls((slot + ".clone").c_str()),
                            releases = cimsim_calls((slot + ".release").c_str());
        auto *self = const_cast<std::remove_const_t<std::remove_pointer_t<decltype(object)>> *>(object);
        raw::release(self->ft->clone(self, nullptr));
        EXPECT_EQ(cimsim_calls((slot + ".clone").c_str()), clones + 1) << name;
        EXPECT_EQ(cimsim_calls((slot + ".release").c_str()), releases + 1) << name;
    };
    cloned("CMPIArgs", args.get());
    cloned("CMPIString", string.get());
    cloned("CMPIArray", array.get());
    cloned("CMPIEnumeration", jobs.get());
    cloned("CMPIInstance", instance.get());
    cloned("CMPIDateTime", time);
    cloned("CMPIObjectPath", of.get());
    cloned("CMPIConstClass", job_class.get());
    EXPECT_EQ(client->ft->clone(client, &st), nullptr);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

TEST_F(Slots, ValuesAreHandedOutAsTheyWereMade) {
    const auto string = [] { return cimsim_string("a"); };
    const auto number = [](CMPIType type) { return cimsim_number(type, 0xfffffffffffffffe); };
    const auto array = [&] {
        cimsim_value *elements[] = {cimsim_string("a"), nullptr, cimsim_chars("c")};
        return cimsim_array(CMPI_string, 3, elements);
    };
    const auto reference = [&](const char *key, cimsim_value *value) {
        return cimsim_reference("n", "C", key, value);
    };
    float real = 1.5F;
    CMPIUint32 bits = 0;
    memcpy(&bits, &real, sizeof real);
    cimsim_discard(string());
    cimsim_discard(nullptr);
    const struct {
        cimsim_value *value;
        const char *shown;
    } rows[] = {
        {string(), "1600:0 a"},
        {cimsim_string(nullptr), "1600:0 blank"},
        {cimsim_chars("a"), "1700:0 a"},
        {number(CMPI_boolean), "0002:0 254"},
        {number(CMPI_uint8), "0080:0 254"},
        {number(CMPI_uint16), "0090:0 65534"},
        {number(CMPI_char16), "0003:0 65534"},
        {number(CMPI_uint32), "00a0:0 4294967294"},
        {number(CMPI_uint64), "00b0:0 18446744073709551614"},
        {number(CMPI_sint8), "00c0:0 254"}, // shown as the union's first bytes
        {number(CMPI_sint16), "00d0:0 65534"},
        {number(CMPI_sint64), "00f0:0 18446744073709551614"},
        {cimsim_number(CMPI_real32, bits), "0008:0 1069547520"},
        {cimsim_number(CMPI_real64, 7), "000c:0 7"},
        {cimsim_datetime("20990101000000.000000+000"), "1800:0 20990101000000.000000+000"},
        {reference(nullptr, nullptr), "1100:0 n:C"},
        {reference("K", cimsim_string("a")), "1100:0 n:C.K=\"a\""},
        {reference("K", cimsim_number(CMPI_sint8, 0xff)), "1100:0 n:C.K=-1"},
        {reference("K", nullptr), "1100:0 n:C.K=\"\""},
        {cimsim_instance("C"), "1000:0 object"},
        {array(), "3600:0 [ 1600:0 a 1600:100 NULL 1700:0 c ]"},
        {cimsim_array(CMPI_uint8, 0, nullptr), "2080:0 [ ]"},
        {cimsim_null(CMPI_string), "1600:100 blank"},
        {cimsim_null(CMPI_uint32), "00a0:100 0"},
        {cimsim_no_object(CMPI_ref), "1100:0 NULL"},
        {cimsim_with_state(string(), CMPI_badValue), "1600:8000 a"},
        {cimsim_with_state(number(CMPI_uint8), CMPI_keyValue), "0080:200 254"},
        {cimsim_with_type(string(), CMPI_chars), "1700:0 a"},
        {cimsim_with_type(string(), CMPI_ref), "1100:0 NULL"},
        {cimsim_with_type(array(), CMPI_instance), "1000:0 NULL"},
        {cimsim_with_type(string(), CMPI_stringA), "3600:0 NULL"},
        {cimsim_with_type(number(CMPI_uint64), CMPI_string), "1600:0 NULL"},
        {cimsim_with_type(number(CMPI_uint64), CMPI_uint8), "0080:0 254"},
        {cimsim_with_type(string(), CMPI_args), "1200:0 object"},
        {cimsim_with_type(string(), CMPI_class), "1300:0 object"},
        {cimsim_with_type(string(), CMPI_enumeration), "1500:0 object"},
        {cimsim_with_type(number(CMPI_uint64), CMPI_dateTime), "1800:0 NULL"},
        {cimsim_with_type(string(), CMPI_uint8), "0080:0 0"},
    };
    for (const auto &row : rows) {
        const Own<CMPIArgs> out(native_new_CMPIArgs(nullptr));
        const CMPIData data = output(row.value, out);
        EXPECT_EQ(shown(data), row.shown) << &row - rows;
        if (data.type == CMPI_chars)
            free(data.value.chars);
    }
}

// What goes in: kept as it was given, told by the request, and found again under any letter case.
TEST_F(Slots, ValuesGoIn) {
    const Own<CMPIString> string(native_new_CMPIString("s", nullptr)),
        blank(native_new_CMPIString(nullptr, nullptr));
    const Own<CMPIArray> array(native_new_CMPIArray(2, CMPI_string, nullptr));
    array->ft->setElementAt(array.get(), 1, value("e"), CMPI_chars);
    const auto on = service("VELK_JobService"), reference = job_path("JID_1");
    reference->ft->addKey(reference.get(), "instanceid", value("JID_2"), CMPI_chars); // in the other's place
    CMPIString *const s = string.get(), *const b = blank.get(), *const nothing = nullptr;
    CMPIArray *const a = array.get();
    CMPIObjectPath *const r = reference.get();
    const CMPIUint64 large = 0x8000000000000001;
    const CMPISint32 negative = -5;
    const CMPIUint16 small = 65535;
    const CMPIReal32 real32 = -0.5F;
    const CMPIReal64 real64 = 0.25;
    const CMPIBoolean yes = 1;
    const struct {
        const void *given;
        CMPIType type;
        const char *sent, *read;
    } rows[] = {
        {"text", CMPI_chars, "1700=text", "1600:0 text"},
        {&s, CMPI_string, "1600=s", "1600:0 s"},
        {&b, CMPI_string, "1600=", "1600:0 blank"},
        {&nothing, CMPI_string, "1600=", "1600:100 blank"},
        {nullptr, CMPI_chars, "1700=", "1600:100 blank"},
        {nullptr, CMPI_uint16, "0090=", "0090:100 0"},
        {&a, CMPI_stringA, "3600=[,e]", "3600:0 [ 1600:100 NULL 1600:0 e ]"},
        {&r, CMPI_ref, "1100=root/velk:VELK_LifecycleJob.InstanceID=\"JID_2\"",
         "1100:0 root/velk:VELK_LifecycleJob.InstanceID=\"JID_2\""},
        {&large, CMPI_uint64, "00b0=9223372036854775809", "00b0:0 9223372036854775809"},
        {&large, CMPI_sint64, "00f0=-9223372036854775807", "00f0:0 9223372036854775809"},
        {&negative, CMPI_sint32, "00e0=-5", nullptr},
        {&small, CMPI_uint16, "0090=65535", "0090:0 65535"},
        {&small, CMPI_sint16, "00d0=-1", "00d0:0 65535"},
        {&small, CMPI_sint8, "00c0=-1", "00c0:0 255"},
        {&yes, CMPI_boolean, "0002=1", "0002:0 1"},
        {&real32, CMPI_real32, "0008=-0.500000", nullptr},
        {&real64, CMPI_real64, "000c=0.250000", nullptr},
    };
    for (const auto &row : rows) {
        const Own<CMPIArgs> in(native_new_CMPIArgs(nullptr));
        for (const char *name : {"First", "Name", "NAME"})
            EXPECT_EQ(in->ft->addArg(in.get(), name, value(row.given), row.type).rc, CMPI_RC_OK) << row.sent;
        EXPECT_EQ(row.read == nullptr ? "" : shown(in->ft->getArg(in.get(), "nAME", &st)),
                  row.read == nullptr ? "" : row.read);
        EXPECT_EQ(in->ft->getArgCount(in.get(), nullptr), 2U);
        client->ft->invokeMethod(client, on.get(), "X", in.get(), nullptr, &st);
        raw::release(st.msg);
        const cimsim_request *sent = cimsim_last_request();
        ASSERT_EQ(sent->argument_count, 2U);
        char type[8];
        snprintf(type, sizeof type, "%04x=", sent->arguments[1].type);
        EXPECT_EQ(std::string(sent->arguments[1].name) + " " + type + sent->arguments[1].text,
                  std::string("Name ") + row.sent);
    }
    const Own<CMPIArgs> in(native_new_CMPIArgs(nullptr));
    EXPECT_EQ(in->ft->addArg(in.get(), "x", value(&s), CMPI_ptr).rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(in->ft->addArg(in.get(), nullptr, value("x"), CMPI_chars).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(shown(in->ft->getArg(in.get(), "x", &st)), "0000:400 -");
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    CMPIString *name = nullptr;
    EXPECT_EQ(shown(r->ft->getKeyAt(r, 0, &name, &st)), "1600:0 JID_2");
    EXPECT_EQ(text(name), "InstanceID");
    EXPECT_EQ(shown(r->ft->getKeyAt(r, 1, &name, &st)), "0000:400 -");
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(Slots, PathsAndTimesHaveParts) {
    const auto from = path("C", "n"), to = path("D", "m");
    const auto parts = [](const Own<CMPIObjectPath> &p) {
        return text(p->ft->getHostname(p.get(), nullptr)) + " " +
               text(p->ft->getNameSpace(p.get(), nullptr)) + " " +
               text(p->ft->getClassName(p.get(), nullptr));
    };
    EXPECT_EQ(parts(from), "NULL n C");
    from->ft->setHostname(from.get(), "h");
    from->ft->setNameSpace(from.get(), "o");
    from->ft->setClassName(from.get(), "E");
    EXPECT_EQ(parts(from), "h o E");
    to->ft->setNameSpaceFromObjectPath(to.get(), from.get());
    EXPECT_EQ(parts(to), "NULL o D");
    from->ft->setNameSpace(from.get(), nullptr);
    to->ft->setHostAndNameSpaceFromObjectPath(to.get(), from.get());
    EXPECT_EQ(parts(to), "h NULL D");
    const Own<CMPIObjectPath> copy(to->ft->clone(to.get(), nullptr));
    copy->ft->setClassName(copy.get(), "F");
    EXPECT_EQ(parts(to) + ", " + parts(copy), "h NULL D, h NULL F");
    for (const auto &[time, interval] :
         {std::pair("20990101000000.000000+000", 0), std::pair("00000001000000.000000:000", 1)}) {
        const Own<CMPIArgs> out(native_new_CMPIArgs(nullptr));
        CMPIDateTime *const made = output(cimsim_datetime(time), out).value.dateTime;
        EXPECT_EQ(made->ft->isInterval(made, nullptr), interval);
    }
}

TEST_F(Slots, CallsAreRecorded) {
    const auto record = [&] {
        const auto p = path();
        p->ft->addKey(p.get(), "K", value("v"), CMPI_chars);
        const Own<CMPIArgs> first(native_new_CMPIArgs(nullptr)), second(native_new_CMPIArgs(nullptr));
        text(p->ft->getClassName(p.get(), nullptr));
        second->ft->clone(second.get(), nullptr)->ft->getArgCount(nullptr, nullptr);
    };
    const std::string wanted =
        "newCMPIObjectPath=CMPIObjectPath#1 CMPIObjectPath#1.addKey native_new_CMPIArgs=CMPIArgs#1 "
        "native_new_CMPIArgs=CMPIArgs#2 CMPIObjectPath#1.getClassName CMPIString#1.getCharPtr "
        "CMPIArgs#2.clone NULL.getArgCount CMPIArgs#2.release CMPIArgs#1.release "
        "CMPIObjectPath#1.release";
    record();
    EXPECT_STREQ(cimsim_traced(), "");
    for (int round = 0; round < 2; ++round) { // anew each time
        cimsim_trace(1);
        record();
        cimsim_trace(0);
        record();
        EXPECT_EQ(cimsim_traced(), wanted);
    }
    cimsim_trace(1);
    cimsim_fail("cmciConnect", 1, nullptr);
    EXPECT_EQ(connect(), nullptr);
    EXPECT_STREQ(cimsim_traced(), "cmciConnect=NULL");
    EXPECT_EQ(cimsim_calls("newCMPIObjectPath"), 5U);
    release(std::exchange(client, nullptr));
    EXPECT_EQ(cimsim_misuses(), 5U);
    cimsim_reset();
    EXPECT_STREQ(cimsim_traced(), "");
    EXPECT_EQ(cimsim_calls(nullptr), 0U);
}

TEST_F(Slots, FailWhenTheyAreToldTo) {
    Own<CMPIArgs> args;
    const auto add = [&](const char *name) {
        const CMPIStatus status = args->ft->addArg(args.get(), name, value("v"), CMPI_chars);
        const std::string message = status.msg == nullptr ? "" : " " + text(status.msg);
        if (status.msg != nullptr)
            release(status.msg);
        return std::to_string(status.rc) + message + " " +
               std::to_string(args->ft->getArgCount(args.get(), nullptr));
    };
    const char *const slot = "CMPIArgs.addArg";
    const cimsim_fault quiet = {CMPI_RC_ERR_NOT_FOUND, nullptr, 0}, spoken = {CMPI_RC_ERR_FAILED, "no", 0},
                       done = {CMPI_RC_ERR_FAILED, "done", 1}, hollow = {CMPI_RC_OK, nullptr, 0};
    const struct {
        const char *slot;
        unsigned long nth;
        const cimsim_fault *fault;
        const char *both, *hit;
    } rows[] = {{slot, 1, &quiet, "6 0, 0 1", slot},
                {slot, 2, &spoken, "0 1, 1 no 1", slot},
                {slot, 1, &done, "1 done 1, 0 2", slot},
                {slot, 1, &hollow, "0 0, 0 1", slot},
                {slot, 1, nullptr, "1 0, 0 1", slot},
                {slot, 3, &quiet, "0 1, 0 2", nullptr},
                {slot, 0, &quiet, "0 1, 0 2", nullptr},
                {"CMPIArgs.getArgCount", 2, &quiet, "0 1, 0 0", "CMPIArgs.getArgCount"},
                {nullptr, 3, &quiet, "0 1, 6 1", slot},
                {nullptr, 2, &quiet, "0 0, 0 2", "CMPIArgs.getArgCount"}};
    for (const auto &row : rows) {
        args.reset(native_new_CMPIArgs(nullptr));
        cimsim_reset();
        cimsim_count_misuse(1);
        cimsim_fail(row.slot, row.nth, row.fault);
        EXPECT_EQ(cimsim_fault_hit(), nullptr);
        const std::string first = add("a");
        EXPECT_EQ(first + ", " + add("b"), row.both) << &row - rows;
        EXPECT_STREQ(cimsim_fault_hit(), row.hit) << &row - rows;
    }
}

} // namespace
