#include "platform/core/persistent.h"

#include <cxxabi.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

namespace {

struct Registry {
    std::mutex mutex;
    std::map<std::string, xcPersistentFactory> factories;
};

Registry& registry() {
    static Registry r;  // constructed on first use, so load order does not matter
    return r;
}

}  // namespace

std::string xf_PersistentClassName(const std::type_info& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return status == 0 && demangled ? std::string(demangled.get()) : std::string(type.name());
}

xc_Instantiator::xc_Instantiator(const std::type_info& type, xcPersistentFactory make) {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.factories[xf_PersistentClassName(type)] = make;
}

xcPersistentFactory xf_FindPersistentFactory(const std::string& name) {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.factories.find(name);
    return it == r.factories.end() ? nullptr : it->second;
}

void xcPersistent::dispatchSerialize(xcArchive&) {}
