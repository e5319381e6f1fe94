#include "base/system_library.h"

#include <dlfcn.h>

namespace lumato {

SystemLibrary::SystemLibrary(const char* name)
    : m_handle(::dlopen(name, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {
    if (m_handle == nullptr)
        m_missing = ::dlerror();
}

SystemLibrary::Symbol SystemLibrary::operator[](const char* function) {
    void* const address = m_handle == nullptr ? nullptr : ::dlsym(m_handle, function);
    if (address == nullptr && m_missing.empty())
        m_missing = ::dlerror();
    return Symbol(address);
}

Result<void> SystemLibrary::Check() const {
    if (!m_missing.empty())
        return Fail(ErrorKind::Unsupported,
                    Phrase("LIBRARY_MISSING", "a library of the system cannot be used: {0}", m_missing));
    return {};
}

}  // namespace lumato
