// A library of the system that few commands need, loaded by the first of them. Loading libsystemd, which
// brings six more, libudev and libusbredirparser was two fifths of what a short command took.
//
//     struct Udev {
//         SystemLibrary library{"libudev.so.1"};
//         decltype(&udev_new) create = library["udev_new"];
//     };
//
// The package names such libraries itself (packaging/CMakeLists.txt): the linker does not know of them.
//
// Loaded on one thread; what is looked up may be called from any that the library allows.
#pragma once

#include <string>

#include "base/error.h"

namespace lumato {

class SystemLibrary {
  public:
    // What a name stands for in the library; converts to a pointer to any function.
    class Symbol {
      public:
        explicit Symbol(void* address) : m_address(address) {}
        template <class Function>
        operator Function*() const {
            return reinterpret_cast<Function*>(m_address);
        }

      private:
        void* m_address;
    };

    // `name` as the loader knows it. The library stays loaded.
    explicit SystemLibrary(const char* name);

    [[nodiscard]] Symbol operator[](const char* function);

    // Unsupported: the library or one of the functions asked for so far is not there; those are null.
    [[nodiscard]] Result<void> Check() const;

  private:
    void* m_handle;
    std::string m_missing;
};

}  // namespace lumato
