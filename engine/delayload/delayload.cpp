#include "engine/api/delayload.h"

#include <cxxabi.h>
#include <dlfcn.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

// The tables that tools/delayload.py writes beside the stubs.
extern "C" {
extern void* lumora_stub_targets[];
extern const char* const lumora_stub_names[];
extern const std::size_t lumora_stub_count;
__attribute__((noreturn, visibility("hidden"))) void lumora_stub_not_loaded(unsigned index);
}

namespace {

bool loaded = false;

std::string readable(const char* mangled) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                      std::free);
    return status == 0 && text ? text.get() : mangled;
}

bool fail(std::string* error, std::string text) {
    if (error) {
        *error = std::move(text);
    }
    return false;
}

}  // namespace

void lumora_stub_not_loaded(unsigned index) {
    std::fprintf(stderr, "%s was called before the engine's library was loaded.\n",
                 readable(lumora_stub_names[index]).c_str());
    std::abort();
}

namespace Lumora {

bool loadEngineLibrary(const char* directory, std::string* error) {
    if (loaded) {
        return true;
    }
    const std::string path = std::string(directory ? directory : ".") + "/liblumora.so";
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* reason = dlerror();
        return fail(error, reason ? reason : path + " cannot be loaded");
    }
    std::vector<void*> targets(lumora_stub_count);
    std::string missing;
    for (std::size_t i = 0; i < lumora_stub_count; ++i) {
        targets[i] = dlsym(library, lumora_stub_names[i]);
        if (!targets[i]) {
            missing += (missing.empty() ? "" : ", ") + readable(lumora_stub_names[i]);
        }
    }
    if (!missing.empty()) {
        dlclose(library);
        return fail(error, path + " lacks " + missing);
    }
    for (std::size_t i = 0; i < lumora_stub_count; ++i) {
        lumora_stub_targets[i] = targets[i];
    }
    loaded = true;
    return true;
}

bool engineLibraryLoaded() {
    return loaded;
}

}  // namespace Lumora
