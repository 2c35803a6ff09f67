// classes.cpp - the classes of the controller, and how the instances of each are listed and found.
#include "controller/controller.h"

#include <algorithm>

namespace cimsim {

namespace {

const std::vector<std::string> instance_id = {"InstanceID"};
const std::vector<std::string> service_keys = {"CreationClassName", "SystemCreationClassName", "SystemName",
                                               "Name"};

// The value of a path's key InstanceID; NULL if the path has other keys.
const std::string *id_in(const Contents &path) {
    const Item *key = path.items.size() == 1 ? path.find("InstanceID") : nullptr;
    return key && key->value.kind == Kind::string ? &key->value.text : nullptr;
}

Class class_of_jobs(Controller &controller) {
    return {job_class, instance_id,
            [&] {
                std::vector<Value> instances;
                instances.reserve(controller.jobs.size());
                for (const auto &entry : controller.jobs)
                    instances.push_back(job_instance(entry.second, controller.clock.now()));
                return instances;
            },
            [&](const Contents &path) -> std::optional<Value> {
                const std::string *id = id_in(path);
                const Job *job = id ? controller.find_job(*id) : nullptr;
                return job ? std::optional<Value>(job_instance(*job, controller.clock.now())) : std::nullopt;
            }};
}

// A class whose instances are only listed: its `find` searches the list for the keys of the path.
Class listed_class(std::string name, std::vector<std::string> keys,
                   std::function<std::vector<Value>()> list) {
    const auto find = [keys, list](const Contents &path) -> std::optional<Value> {
        for (Value &instance : list()) {
            const auto is_in_path = [&](const std::string &key) {
                const Item *own = instance.contents->find(key.c_str()), *given = path.find(key.c_str());
                return own && given && to_text(own->value) == to_text(given->value);
            };
            if (path.items.size() == keys.size() && std::all_of(keys.begin(), keys.end(), is_in_path))
                return std::move(instance);
        }
        return std::nullopt;
    };
    return {std::move(name), std::move(keys), std::move(list), find};
}

Value identity_instance(const Identity &identity) {
    Value instance = instance_of(identity_class);
    instance.contents->items = {{"InstanceID", Value::string(identity.id)},
                                {"ElementName", Value::string(identity.name)},
                                {"VersionString", Value::string(identity.version)}};
    return instance;
}

} // namespace

Value instance_of(const std::string &class_name) {
    Value instance = Value::with_contents(CMPI_instance, Kind::instance);
    instance.contents->name_space = velk_namespace;
    instance.contents->class_name = class_name;
    return instance;
}

std::optional<Class> find_class(Controller &controller, const std::string &name) {
    const auto is = [&](const std::string &known) { return same_name(known.c_str(), name.c_str()); };
    if (is(job_class))
        return class_of_jobs(controller);
    if (is(identity_class))
        return listed_class(identity_class, instance_id, [&] {
            std::vector<Value> instances;
            for (const Identity &identity : controller.identities)
                instances.push_back(identity_instance(identity));
            return instances;
        });
    if (is("VELK_ComputerSystem")) // known, but without instances and methods
        return listed_class("VELK_ComputerSystem", service_keys, [] { return std::vector<Value>(); });
    if (const Service *service = find_service(name))
        return listed_class(name, service_keys,
                            [service] { return std::vector<Value>{service_instance(*service)}; });
    for (const AddedClass &added : controller.added)
        if (is(added.name))
            return listed_class(added.name, added.keys, [&added] {
                std::vector<Value> instances;
                for (const std::vector<Item> &items : added.instances) {
                    instances.push_back(instance_of(added.name));
                    instances.back().contents->items = items;
                }
                return instances;
            });
    return std::nullopt;
}

} // namespace cimsim
