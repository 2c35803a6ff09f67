// objects_test.cpp - the life of the client library's objects: who owns what, and every misuse by name;
// values as they are handed out; calls that are counted, recorded and made to fail.
#include "raw.h"

#include <algorithm>
#include <cstring>
#include <future>
#include <thread>

using namespace raw;

namespace {

class Objects : public Raw {
protected:
    Own<CMPIArgs> args() { return Own<CMPIArgs>(native_new_CMPIArgs(&st)); }
    // An argument list with a string and with an array of two strings, "Text" and "List".
    Own<CMPIArgs> filled() {
        auto made = args();
        Own<CMPIArray> list = array();
        CMPIArray *const face = list.get();
        made->ft->addArg(made.get(), "Text", value("text"), CMPI_chars);
        made->ft->addArg(made.get(), "List", value(&face), CMPI_stringA);
        return made;
    }
    Own<CMPIArray> array() {
        Own<CMPIArray> made(native_new_CMPIArray(2, CMPI_string, &st));
        for (CMPICount i : {0U, 1U})
            made->ft->setElementAt(made.get(), i, value("element"), CMPI_chars);
        return made;
    }
    template <class T>
    static T *released(Own<T> object) {
        raw::release(object.get());
        return object.release();
    }
    static CMPIData at(CMPIArray *array, CMPICount index) {
        return array->ft->getElementAt(array, index, nullptr);
    }
    static CMPIData arg(const Own<CMPIArgs> &args, const char *name) {
        return args->ft->getArg(args.get(), name, nullptr);
    }
};

TEST_F(Objects, MisuseIsNamed) {
    const auto misused = [](const char *named, CMPIrc rc, CMPIrc expected = CMPI_RC_ERR_FAILED) {
        EXPECT_EQ(rc, expected) << named;
        EXPECT_EQ(cimsim_misuses(), 1U) << named;
        EXPECT_EQ(misuse(), named);
        cimsim_count_misuse(1);
    };
    const auto twice = [](auto *object) { return object->ft->release(object).rc; };
    const auto count = [this](CMPIArgs *list) { return list->ft->getArgCount(list, &st), st.rc; };
    const auto characters = [this](CMPIString *string) { return string->ft->getCharPtr(string, &st), st.rc; };
    misused("CMPIArgs.release: CMPIArgs# released twice", twice(released(args())));
    misused("CMCIClient.release: CMCIClient# released twice", twice(released(Own<CMCIClient>(connect()))));
    misused("CMPIArgs.getArgCount: CMPIArgs# used after its release", count(released(args())));
    CMPIString hollow = *arg(filled(), "Text").value.string;
    hollow.hdl = nullptr;
    misused("CMPIString.getCharPtr: no object", characters(&hollow));

    // Objects given to a call.
    const auto to = path();
    CMPIString *const dead = released(Own<CMPIString>(native_new_CMPIString("x", nullptr)));
    misused("CMPIObjectPath.addKey: CMPIString# used after its release",
            to->ft->addKey(to.get(), "X", value(&dead), CMPI_string).rc);
    misused("CMPIObjectPath.setNameSpaceFromObjectPath: CMPIObjectPath# used after its release",
            to->ft->setNameSpaceFromObjectPath(to.get(), released(path())).rc);
    misused("CMPIObjectPath.setHostAndNameSpaceFromObjectPath: no source",
            to->ft->setHostAndNameSpaceFromObjectPath(to.get(), nullptr).rc);

    // What was read belongs to the thread, an element to what it is in.
    const auto list = filled();
    CMPIString *const read = arg(list, "Text").value.string;
    misused("CMPIString.release: CMPIString# released on a thread that did not read it",
            std::async(std::launch::async, [&] { return twice(read); }).get());
    const auto let_go = [](auto *element, auto *container) {
        raw::release(element);
        return container->ft->release(container).rc;
    };
    const auto overwrite = [](CMPIArray *array, CMPIType type) {
        raw::release(at(array, 1).value.string);
        return array->ft->setElementAt(array, 1, value("new"), type).rc;
    };
    CMPIArray *const own = array().release();
    const Own<CMPIArray> copy(own->ft->clone(own, nullptr));
    misused("CMPIString# released twice: by itself and when CMPIArray# lost it as an element",
            overwrite(own, CMPI_null), CMPI_RC_OK);
    misused("CMPIString# released twice: by itself and when CMPIArray# lost it as an element",
            overwrite(copy.get(), CMPI_chars), CMPI_RC_OK);
    misused("CMPIString# released twice: by itself and with CMPIArray#", let_go(at(own, 0).value.string, own),
            CMPI_RC_OK);
    cimsim_add_job("job", "", CIMSIM_NEVER, 0, 0);
    CMPIEnumeration *const jobs = client->ft->enumInstances(client, to.get(), 0, nullptr, nullptr);
    misused("CMPIInstance# released twice: by itself and with CMPIEnumeration#",
            let_go(jobs->ft->getNext(jobs, nullptr).value.inst, jobs), CMPI_RC_OK);

    // Exchanges.
    const auto on = service("VELK_JobService");
    const auto invoked = [&](CMPIObjectPath *object, CMPIArgs *in, CMPIArgs *out, CMPIStatus *status) {
        const CMPIData data = client->ft->invokeMethod(client, object, "SetupJobQueue", in, out, status);
        EXPECT_EQ(shown(data), "0000:400 -");
        return status == nullptr ? CMPI_RC_ERR_FAILED : status->rc;
    };
    misused("CMCIClient.invokeMethod: no status", invoked(on.get(), list.get(), nullptr, nullptr));
    misused("CMCIClient.invokeMethod: no input arguments", invoked(on.get(), nullptr, nullptr, &st));
    misused("CMCIClient.invokeMethod: no object path", invoked(nullptr, list.get(), nullptr, &st));
    misused("CMCIClient.invokeMethod: CMPIArgs# used after its release",
            invoked(on.get(), list.get(), released(args()), &st));
    for (const auto &[name_space, class_name] :
         {std::pair("root/velk", "X"), std::pair("x", "VELK_QMService")})
        misused((std::string("CMCIClient.invokeMethod: there is no class ") + name_space + ":" + class_name +
                 ", which the real library does not survive")
                    .c_str(),
                invoked(path(class_name, name_space).get(), list.get(), nullptr, &st), CMPI_RC_ERR_NOT_FOUND);
    char *properties[] = {nullptr};
    EXPECT_EQ(client->ft->enumInstances(client, to.get(), 0, properties, &st), nullptr);
    misused("CMCIClient.enumInstances: a list of properties, which the real library does not survive", st.rc);
    EXPECT_EQ(cimsim_request_count(), 1U); // the enumeration of above

    // Something goes away while the answer is on its way.
    cimsim_hold_answers(1000);
    CMCIClient *const another = connect();
    auto out = args();
    auto answer = std::async(std::launch::async,
                             [&] { return another->ft->getClass(another, to.get(), 0, nullptr, nullptr); });
    while (cimsim_request_count() == 1)
        std::this_thread::yield();
    raw::release(another);
    cimsim_advance(1);
    EXPECT_EQ(answer.get(), nullptr);
    misused("CMCIClient.getClass: CMCIClient# used after its release", CMPI_RC_OK, CMPI_RC_OK);
    auto call = std::async(std::launch::async, [&] { return invoked(on.get(), list.get(), out.get(), &st); });
    while (cimsim_request_count() == 2)
        std::this_thread::yield();
    raw::release(out.release());
    cimsim_advance(1);
    misused("CMCIClient.invokeMethod: CMPIArgs# used after its release", call.get());
}

// The back end is loaded by the first client and unloaded with the last: nothing made before is of use.
TEST_F(Objects, DieWithTheLastClient) {
    CMPIArgs *const old = filled().release();
    CMPIString *const pooled = arg(Own<CMPIArgs>(filled()), "Text").value.string;
    raw::release(client);
    EXPECT_EQ(newCMPIObjectPath("n", "c", &st), nullptr);
    EXPECT_EQ(misuse() + std::to_string(st.rc), "newCMPIObjectPath: no client is open1");
    EXPECT_EQ(native_new_CMPIArgs(&st), nullptr);
    EXPECT_EQ(misuse() + std::to_string(st.rc), "native_new_CMPIArgs: no client is open1");
    EXPECT_EQ(native_new_CMPIArray(1, CMPI_string, nullptr), nullptr);
    EXPECT_EQ(misuse(), "native_new_CMPIArray: no client is open");
    EXPECT_EQ(native_new_CMPIString("x", nullptr), nullptr);
    EXPECT_EQ(misuse(), "native_new_CMPIString: no client is open");
    client = connect();
    EXPECT_EQ(old->ft->getArgCount(old, &st), 0U);
    EXPECT_EQ(misuse(), "CMPIArgs.getArgCount: CMPIArgs# used after the last client was released");
    EXPECT_EQ(old->ft->release(old).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(pooled->ft->getCharPtr(pooled, nullptr), nullptr);
    EXPECT_EQ(misuse(), "CMPIString.getCharPtr: CMPIString# used after its release");
    EXPECT_EQ(cimsim_misuses(), 7U);
    EXPECT_EQ(cimsim_owned(), 2U); // it stays on the account of the program that lost it
    cimsim_reset();
    EXPECT_EQ(cimsim_owned(), 1U);
}

TEST_F(Objects, OnlyTheLatestReleasedAreRemembered) {
    auto *first = released(args());
    for (int i = 0; i < 4095; ++i)
        released(args());
    EXPECT_EQ(first->ft->release(first).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(cimsim_misuses(), 1U);
    cimsim_count_misuse(1); // from 0
    EXPECT_EQ(cimsim_misuses(), 0U);
}

using ObjectsDeathTest = Objects;

TEST_F(ObjectsDeathTest, MisuseAndUnknownSlotsEndTheProgram) {
    const cimsim_fault fault = {};
    EXPECT_DEATH(cimsim_fail("CMPIArgs.addArgs", 1, &fault),
                 "cimsim: cimsim_fail: there is no slot \"CMPIArgs.addArgs\"");
    for (const char *name : {"CMPIArgs", "addArg", "", "CMPIArgs.release ", ".release", "client.release"})
        EXPECT_DEATH(cimsim_calls(name), "cimsim: cimsim_calls: there is no slot \"");
    auto *twice = released(args());
    EXPECT_DEATH((cimsim_count_misuse(0), raw::release(twice)),
                 "^cimsim: misuse: CMPIArgs.release: CMPIArgs#[0-9]+ released twice\n");
    EXPECT_DEATH((cimsim_reset(), raw::release(twice)), "released twice\n");
}

// What is read belongs to the reading thread's pool, what is made to the program.
TEST_F(Objects, AreOwnedOrLeftToAPool) {
    const auto a = filled();
    EXPECT_EQ(cimsim_owned(), 2U);
    const auto read = [&] { return arg(a, "Text").value.string; };
    EXPECT_NE(read(), read());
    EXPECT_EQ(cimsim_pooled(), 2U);
    raw::release(read());
    EXPECT_EQ(cimsim_pooled(), 2U);
    std::async(std::launch::async, [&] {
        CMCIClient *const mine = connect(), *const another = connect();
        read();
        EXPECT_EQ(cimsim_pooled(), 3U);
        raw::release(mine);
        EXPECT_EQ(cimsim_pooled(), 3U);
        raw::release(another); // the thread's last
        EXPECT_EQ(cimsim_pooled(), 2U);
        read();
    }).get();
    EXPECT_EQ(cimsim_pooled(), 2U); // the thread ended
    EXPECT_EQ(misuse(), "");
    const std::string live = cimsim_live();
    for (const char *name : {"CMCIClient#", "CMPIArgs#", "CMPIString#"})
        EXPECT_NE(live.find(name), std::string::npos) << live;
    EXPECT_EQ(std::count(live.begin(), live.end(), ' '), 3);
}

// An array that was read back forgets an element that is overwritten: if nobody released it, it is lost.
TEST_F(Objects, ElementsAreOverwritten) {
    auto a = filled();
    CMPIArray *const back = arg(a, "List").value.array;
    const auto overwrite = [&](CMPICount index) {
        return back->ft->setElementAt(back, index, nullptr, CMPI_null).rc;
    };
    raw::release(at(back, 0).value.string);
    EXPECT_EQ(overwrite(0), CMPI_RC_OK);
    EXPECT_EQ(cimsim_owned(), 2U);
    EXPECT_EQ(overwrite(1), CMPI_RC_OK); // nobody had even looked at it
    EXPECT_EQ(cimsim_owned(), 3U);
    EXPECT_EQ(shown(at(back, 1)), "1600:100 NULL");
    EXPECT_EQ(overwrite(2), CMPI_RC_ERR_NO_SUCH_PROPERTY);
    back->ft->setElementAt(back, 0, value("new"), CMPI_chars);
    CMPIString *const lost = at(back, 0).value.string;
    EXPECT_EQ(overwrite(0), CMPI_RC_OK);
    EXPECT_EQ(text(lost), "new");
    raw::release(lost);
    auto own = array();
    EXPECT_EQ(at(own.get(), 0).value.string, at(own.get(), 0).value.string); // the element itself
    EXPECT_EQ(own->ft->setElementAt(own.get(), 0, nullptr, CMPI_null).rc, CMPI_RC_OK);
    EXPECT_EQ(cimsim_owned(), 4U); // nothing more is lost
    CMPIUint64 number = 1;
    EXPECT_EQ(own->ft->setElementAt(own.get(), 0, value(&number), CMPI_uint64).rc, CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_EQ(own->ft->setElementAt(own.get(), 2, value("x"), CMPI_chars).rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    EXPECT_EQ(own->ft->getSimpleType(own.get(), nullptr), CMPI_string);
    own->ft->getElementAt(own.get(), 2, &st);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    a.reset();
    own.reset();
    EXPECT_EQ(cimsim_owned(), 2U) << cimsim_live();
    raw::release(client);
    client = connect();
    cimsim_reset();
    cimsim_count_misuse(1);
}

} // namespace
