// What a download that broke off leaves: the frame's flash, and what is below the home folder.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "base/sha256.h"
#include "store/picture_table.h"
#include "tests/store/store_fixture.h"

namespace lumato::store {

namespace fs = std::filesystem;

// A picture as the frame has it.
struct Stored {
    int address;
    Bytes bytes;
    bool operator==(const Stored&) const = default;
};

inline std::vector<Stored> StoredIn(Bytes flash) {
    const MutableByteSpan table = MutableByteSpan(flash).subspan(kTable, 4096);
    std::vector<Stored> stored;
    for (int slot = 1; IsTable(table) && slot <= kMostPictures; ++slot) {
        const ByteSpan bytes = SlotOf(table, slot);
        if (bytes[0] != kSlotStored)
            continue;
        const auto at = flash.begin() + SlotAddress(bytes);
        stored.push_back({SlotAddress(bytes), Bytes(at, at + SlotLength(bytes))});
    }
    return stored;
}

struct Left {
    struct File {
        std::optional<Bytes> bytes;  // none: a folder
        fs::perms permissions;
    };
    Bytes flash;
    std::map<std::string, File> files;  // by their paths, a folder before what is in it

    static Left Of(Bytes flash, const Path& home) {
        Left left{std::move(flash), {}};
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(home)) {
            File& file = left.files[entry.path().lexically_relative(home).string()];
            file.permissions = entry.status().permissions();
            if (!entry.is_directory())
                file.bytes = ReadFile(entry.path()).value();
        }
        return left;
    }

    void PutBack(const Path& home) const {
        for (const auto& [name, file] : files) {
            if (file.bytes)
                EXPECT_TRUE(WriteFile(home / name, *file.bytes));
            else
                fs::create_directory(home / name);
            fs::permissions(home / name, file.permissions);
        }
    }

    [[nodiscard]] Digest Hash() const {
        Bytes all = flash;
        const auto append = [&](const auto& bytes) { all.insert(all.end(), bytes.begin(), bytes.end()); };
        for (const auto& [name, file] : files) {
            append(name + '\n' + (file.bytes ? std::to_string(file.bytes->size()) : "folder") + '\n');
            append(file.bytes.value_or(Bytes()));
        }
        return Sha256(all);
    }
};

}  // namespace lumato::store
