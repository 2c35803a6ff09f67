// slots_items.cpp - the slots of objects that have items: argument lists, object paths, instances.
#include "client/slots.h"

#include <CimClientLib/cmci.h>
#include <CimClientLib/native.h>

namespace cimsim {

namespace {

const Contents &contents(const Call &call) { return *call.self->value.contents; }

// ---- Items: shared by the three kinds -----------------------------------------------------------

CMPIData read_item(Call &call, const char *name, CMPIrc missing) {
    if (!call.works())
        return no_data();
    if (const Item *item = contents(call).find(name))
        return hand_out(item->value, Holder::pooled);
    call.fail(missing);
    return no_data();
}

CMPIData read_item_at(Call &call, unsigned int index, CMPIString **name) {
    if (!call.works())
        return no_data();
    if (index >= contents(call).items.size()) {
        call.fail(CMPI_RC_ERR_NOT_FOUND);
        return no_data();
    }
    const Item &item = contents(call).items[index];
    if (name)
        *name = cmpi_of<CMPIString>(&make(Value::string(item.name), Holder::pooled));
    return hand_out(item.value, Holder::pooled);
}

unsigned int count_items(const Call &call) {
    return call.works() ? static_cast<unsigned int>(contents(call).items.size()) : 0;
}

CMPIStatus add_item(Call &call, const char *name, const CMPIValue *value, CMPIType type) {
    if (call.works()) {
        if (!name)
            call.fail(CMPI_RC_ERR_INVALID_PARAMETER);
        Value item = argument_value(call, value, type);
        if (call.result() == CMPI_RC_OK)
            call.self->value.edit().put(name, std::move(item), type);
    }
    return call.status();
}

// ---- CMPIArgs -----------------------------------------------------------------------------------

CMPIStatus args_addArg(CMPIArgs *self, const char *name, CMPIValue *value, CMPIType type) {
    Call call("CMPIArgs.addArg", self, nullptr);
    return add_item(call, name, value, type);
}

CMPIData args_getArg(CMPIArgs *self, const char *name, CMPIStatus *rc) {
    Call call("CMPIArgs.getArg", self, rc);
    return read_item(call, name, CMPI_RC_ERR_NOT_FOUND);
}

CMPIData args_getArgAt(CMPIArgs *self, unsigned int index, CMPIString **name, CMPIStatus *rc) {
    Call call("CMPIArgs.getArgAt", self, rc);
    return read_item_at(call, index, name);
}

unsigned int args_getArgCount(CMPIArgs *self, CMPIStatus *rc) {
    Call call("CMPIArgs.getArgCount", self, rc);
    return count_items(call);
}

// ---- CMPIObjectPath -----------------------------------------------------------------------------

CMPIStatus set_part(Call &call, std::string Contents::*part, const char *text) {
    if (call.works())
        call.self->value.edit().*part = text_or_empty(text);
    return call.status();
}

CMPIString *get_part(Call &call, std::string Contents::*part) {
    if (!call.works() || (contents(call).*part).empty())
        return nullptr;
    return cmpi_of<CMPIString>(&make(Value::string(contents(call).*part), Holder::pooled));
}

CMPIStatus copy_parts(Call &call, const CMPIObjectPath *source, bool host) {
    const Object *from = object_of(source);
    if (call.works() && call.accepts(from, "source")) {
        const std::shared_ptr<Contents> keep = from->value.contents;
        Contents &to = call.self->value.edit();
        to.name_space = keep->name_space;
        if (host)
            to.host = keep->host;
    }
    return call.status();
}

CMPIStatus path_setNameSpace(CMPIObjectPath *self, const char *name_space) {
    Call call("CMPIObjectPath.setNameSpace", self, nullptr);
    return set_part(call, &Contents::name_space, name_space);
}

CMPIString *path_getNameSpace(CMPIObjectPath *self, CMPIStatus *rc) {
    Call call("CMPIObjectPath.getNameSpace", self, rc);
    return get_part(call, &Contents::name_space);
}

CMPIStatus path_setHostname(CMPIObjectPath *self, const char *hostname) {
    Call call("CMPIObjectPath.setHostname", self, nullptr);
    return set_part(call, &Contents::host, hostname);
}

CMPIString *path_getHostname(CMPIObjectPath *self, CMPIStatus *rc) {
    Call call("CMPIObjectPath.getHostname", self, rc);
    return get_part(call, &Contents::host);
}

CMPIStatus path_setClassName(CMPIObjectPath *self, const char *class_name) {
    Call call("CMPIObjectPath.setClassName", self, nullptr);
    return set_part(call, &Contents::class_name, class_name);
}

CMPIString *path_getClassName(CMPIObjectPath *self, CMPIStatus *rc) {
    Call call("CMPIObjectPath.getClassName", self, rc);
    return get_part(call, &Contents::class_name);
}

CMPIStatus path_addKey(CMPIObjectPath *self, const char *name, CMPIValue *value, CMPIType type) {
    Call call("CMPIObjectPath.addKey", self, nullptr);
    return add_item(call, name, value, type);
}

CMPIData path_getKey(CMPIObjectPath *self, const char *name, CMPIStatus *rc) {
    Call call("CMPIObjectPath.getKey", self, rc);
    return read_item(call, name, CMPI_RC_ERR_NOT_FOUND);
}

CMPIData path_getKeyAt(CMPIObjectPath *self, unsigned int index, CMPIString **name, CMPIStatus *rc) {
    Call call("CMPIObjectPath.getKeyAt", self, rc);
    return read_item_at(call, index, name);
}

unsigned int path_getKeyCount(CMPIObjectPath *self, CMPIStatus *rc) {
    Call call("CMPIObjectPath.getKeyCount", self, rc);
    return count_items(call);
}

CMPIStatus path_setNameSpaceFromObjectPath(CMPIObjectPath *self, CMPIObjectPath *source) {
    Call call("CMPIObjectPath.setNameSpaceFromObjectPath", self, nullptr);
    return copy_parts(call, source, false);
}

CMPIStatus path_setHostAndNameSpaceFromObjectPath(CMPIObjectPath *self, CMPIObjectPath *source) {
    Call call("CMPIObjectPath.setHostAndNameSpaceFromObjectPath", self, nullptr);
    return copy_parts(call, source, true);
}

CMPIString *path_toString(CMPIObjectPath *self, CMPIStatus *rc) {
    Call call("CMPIObjectPath.toString", self, rc);
    if (!call.works())
        return nullptr;
    return cmpi_of<CMPIString>(&make(Value::string(to_text(call.self->value)), Holder::pooled));
}

// ---- CMPIInstance -------------------------------------------------------------------------------

CMPIData instance_getProperty(CMPIInstance *self, const char *name, CMPIStatus *rc) {
    Call call("CMPIInstance.getProperty", self, rc);
    return read_item(call, name, CMPI_RC_ERR_NO_SUCH_PROPERTY);
}

CMPIData instance_getPropertyAt(CMPIInstance *self, unsigned int index, CMPIString **name, CMPIStatus *rc) {
    Call call("CMPIInstance.getPropertyAt", self, rc);
    return read_item_at(call, index, name);
}

unsigned int instance_getPropertyCount(CMPIInstance *self, CMPIStatus *rc) {
    Call call("CMPIInstance.getPropertyCount", self, rc);
    return count_items(call);
}

CMPIStatus instance_setProperty(CMPIInstance *self, const char *name, CMPIValue *value, CMPIType type) {
    Call call("CMPIInstance.setProperty", self, nullptr);
    return add_item(call, name, value, type);
}

} // namespace

CMPIArgsFT args_table = {
    1, RELEASE(CMPIArgs), CLONE(CMPIArgs), args_addArg, args_getArg, args_getArgAt, args_getArgCount,
};

CMPIObjectPathFT path_table = {
    1,
    RELEASE(CMPIObjectPath),
    CLONE(CMPIObjectPath),
    path_setNameSpace,
    path_getNameSpace,
    path_setHostname,
    path_getHostname,
    path_setClassName,
    path_getClassName,
    path_addKey,
    path_getKey,
    path_getKeyAt,
    path_getKeyCount,
    path_setNameSpaceFromObjectPath,
    path_setHostAndNameSpaceFromObjectPath,
    NOT_SUPPORTED(CMPIObjectPath, getClassQualifier),
    NOT_SUPPORTED(CMPIObjectPath, getPropertyQualifier),
    NOT_SUPPORTED(CMPIObjectPath, getMethodQualifier),
    NOT_SUPPORTED(CMPIObjectPath, getParameterQualifier),
    path_toString,
};

CMPIInstanceFT instance_table = {
    1,
    RELEASE(CMPIInstance),
    CLONE(CMPIInstance),
    instance_getProperty,
    instance_getPropertyAt,
    instance_getPropertyCount,
    instance_setProperty,
    NOT_SUPPORTED(CMPIInstance, getObjectPath),
    NOT_SUPPORTED(CMPIInstance, setPropertyFilter),
    NOT_SUPPORTED(CMPIInstance, getQualifier),
    NOT_SUPPORTED(CMPIInstance, getQualifierAt),
    NOT_SUPPORTED(CMPIInstance, getQualifierCount),
    NOT_SUPPORTED(CMPIInstance, getPropertyQualifier),
    NOT_SUPPORTED(CMPIInstance, getPropertyQualifierAt),
    NOT_SUPPORTED(CMPIInstance, getPropertyQualifierCount),
};

} // namespace cimsim

using namespace cimsim;

extern "C" CMPIArgs *native_new_CMPIArgs(CMPIStatus *rc) {
    Call call = Call::construct("native_new_CMPIArgs", rc);
    return call.works()
               ? call.made<CMPIArgs>(make(Value::with_contents(CMPI_args, Kind::args), Holder::owned))
               : nullptr;
}

extern "C" CMPIObjectPath *newCMPIObjectPath(const char *name_space, const char *class_name, CMPIStatus *rc) {
    Call call = Call::construct("newCMPIObjectPath", rc);
    if (!call.works())
        return nullptr;
    Value path = Value::with_contents(CMPI_ref, Kind::path);
    path.contents->name_space = text_or_empty(name_space);
    path.contents->class_name = text_or_empty(class_name);
    return call.made<CMPIObjectPath>(make(std::move(path), Holder::owned));
}
