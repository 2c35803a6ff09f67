// answers.cpp - fuzzes the answers of the client library: values of every type, state and depth.
#include "../operations.h"
#include "input.h"

#include <iterator>
#include <utility>
#include <vector>

namespace {

// For a value of one of these types the library does nothing.
constexpr CMPIType OPAQUE[] = {CMPI_ptr, CMPI_null, CMPI_charsptr, CMPI_filter, CMPI_dateTimeString};

// Makes a value. If the receiver frees it (`freed`), directly or with the array that holds it, it gets a
// state and a type with which that is possible.
cimsim_value *value(Input &in, bool freed, unsigned depth = 0) {
    const unsigned kind = depth > 3 ? 0 : in.byte() % 8U;
    const uint8_t code = in.byte();
    const auto type = static_cast<CMPIType>(code < 0x80 ? (code & 0x3f) << 8 : in.word());
    const CMPIValueState state = in.byte() < 0x80 ? CMPI_goodValue : in.word();
    const std::string text = in.text();
    const unsigned count = kind == 2 ? in.byte() % 8U : 0;
    std::vector<cimsim_value *> elements(count);
    for (cimsim_value *&element : elements)
        element = in.byte() == 0 ? nullptr : value(in, true, depth + 1);
    if (kind == 7) // only CMPI_chars in a good state can own such memory
        return cimsim_chars(text.c_str());
    const char *const key = type == 0 ? text.c_str() : "InstanceID";
    cimsim_value *made = kind == 0   ? cimsim_no_object(type)
                         : kind == 1 ? cimsim_number(code & 0xf0, 0x10001ULL * type)
                         : kind == 2 ? cimsim_array(type, count, elements.data())
                         : kind == 3 ? cimsim_datetime(text.c_str())
                         : kind == 4 ? cimsim_instance(text.c_str())
                         : kind == 5 ? cimsim_reference(text.c_str(), "", key, value(in, false, depth + 1))
                                     : cimsim_string(type == 0 ? nullptr : text.c_str());
    cimsim_with_state(made, freed && kind > 1 ? state & CMPI_keyValue : state);
    return freed || code < 0xc0 ? made : cimsim_with_type(made, OPAQUE[type % std::size(OPAQUE)]);
}

// Prepares the answer to the next call.
void prepare(Input &in) {
    cimsim_reset();
    cimsim_set_garbage(1);
    cimsim_add_job("JID_1", "job", CIMSIM_NEVER, 1, 0);
    cimsim_set_job_property("JID_1", "Name", value(in, false));
    const unsigned parts = in.byte();
    const std::string message = in.text();
    const char *const text = message.empty() ? nullptr : message.c_str();
    const int rc = (parts & 1) != 0 ? static_cast<int16_t>(in.word()) : 0;
    const cimsim_fault fault = {static_cast<CMPIrc>(rc), text, (parts & 2) != 0};
    cimsim_fail((parts & 4) != 0 ? "CMCIClient.getInstance" : "CMCIClient.enumInstances", parts & 1, &fault);
    cimsim_answer_status(fault.rc, text);
    cimsim_answer_return(value(in, true));
    const char *const outputs[] = {"MessageID", "Message", "Job", "RebootJobID"};
    for (unsigned i = 0; i < 4; ++i)
        if ((parts >> i & 0x10) != 0)
            cimsim_answer_output(outputs[i], value(in, false));
    if ((parts & 8) != 0)
        cimsim_add_element(0, value(in, false));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static FILE *const nowhere = fopen("/dev/null", "w");
    FILE *const before = std::exchange(stdout, nowhere);
    XAVO_Proxy *const sp = XAVO_new();
    for (Input in = {data, size}; in.left > 0;) {
        const test::Operation *const row =
            test::numbered(in.byte() & 0x7fU); // the highest bit has no meaning
        if (row == nullptr)
            break;
        const test::Operation &op = *row;
        prepare(in);
        XAVO_ErrorCode ec = -1;
        {
            test::Results results;
            test::create_inputs(op, sp, results);
            op.call(sp, &ec, results);
            while (results.instances && results.instances->ft->hasNext(results.instances, nullptr) != 0)
                XAVO_pr_CMPIData(-1, "element", results.instances->ft->getNext(results.instances, nullptr));
            if (!op.job.output.empty())
                assert((results.job != nullptr) == (ec == XAVO_NO_ERROR));
        }
        assert(strcmp(XAVO_EC_to_string(ec), "unknown") != 0);
        assert(cimsim_owned() == 1); // the handle's client; any misuse ends the program by itself
        assert(pthread_mutex_trylock(&sp->mutex) == 0 && pthread_mutex_unlock(&sp->mutex) == 0);
    }
    XAVO_free(sp);
    stdout = before;
    return 0;
}
