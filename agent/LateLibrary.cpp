#include "agent/LateLibrary.h"

#include <dlfcn.h>

#include "agent/SafeText.h"

namespace {

std::string reason() {
    const char* const text = dlerror();
    return text == nullptr ? "unknown error" : safeText(text);
}

}  // namespace

LateLibrary::LateLibrary(const std::string& fileIN, const std::string& packageIN)
    : file(fileIN), package(packageIN), handle(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle != nullptr) return;
    throw Missing("cannot load " + file + " (" + reason() + "); install the Debian package " +
                  package);
}

void* LateLibrary::address(const char* name) const {
    void* const found = dlsym(handle, name);
    if (found != nullptr) return found;
    throw Missing(file + " has no " + name + " (" + reason() + "); install the Debian package " +
                  package + " of this release");
}
