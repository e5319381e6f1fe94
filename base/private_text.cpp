#include "base/private_text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include <unistd.h>

#include "base/printable.h"

namespace lumato {
namespace {

constexpr std::size_t kMostNames = 4000;  // of a large folder; what comes later still has no path
constexpr int kSystemErrors = 134;

using Names = std::map<std::string, std::string, std::less<>>;

struct HiddenNames {
    std::mutex mutex;
    Names files;                                              // name -> "file 1"
    std::vector<std::pair<std::string, std::string>> others;  // the user's
    int count = 0;
};

HiddenNames& Hidden() {
    static auto& hidden = *new HiddenNames;  // threads may outlive main()
    return hidden;
}

bool IsWordByte(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || (c & 0x80) != 0;
}

// No word begins or ends there that goes on on the other side.
bool IsBoundary(std::string_view text, std::size_t at) {
    return at == 0 || at == text.size() || !IsWordByte(text[at - 1]) || !IsWordByte(text[at]);
}

struct Place {
    std::size_t begin = 0;
    Names::const_iterator name;
    [[nodiscard]] std::size_t Size() const { return name->first.size(); }
};

// The names that begin there and stand by themselves. Of names in their order, those that `rest` begins with
// are found from the last one down: what is not one of them says where the next can be.
void FindNamesAt(std::string_view text, std::size_t begin, const Names& names, std::vector<Place>& found) {
    std::string_view rest = text.substr(begin);
    for (auto name = names.upper_bound(rest); name != names.begin() && !rest.empty();) {
        --name;
        const std::string_view said = name->first;
        const auto same = static_cast<std::size_t>(std::ranges::mismatch(said, rest).in1 - said.begin());
        if (same == said.size()) {
            if (IsBoundary(text, begin + same))
                found.push_back({begin, name});
            continue;
        }
        rest = rest.substr(0, same);
        name = names.upper_bound(rest);
    }
}

// Each name that stands by itself; a longer one may hold a shorter one, and is replaced before.
void ReplaceNames(std::string& text, const Names& names) {
    std::vector<Place> found;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (IsBoundary(text, at))
            FindNamesAt(text, at, names, found);
    }
    std::ranges::stable_sort(found, std::greater(), &Place::Size);
    std::map<std::size_t, Place> taken;  // by their ends, which tell whether another one lies across
    for (const Place& place : found) {
        const auto behind = taken.upper_bound(place.begin);
        if (behind == taken.end() || behind->second.begin >= place.begin + place.Size())
            taken.emplace(place.begin + place.Size(), place);
    }
    for (auto place = taken.rbegin(); place != taken.rend(); ++place)
        text.replace(place->second.begin, place->second.Size(), place->second.name->second);
}

// Each place where `name` stands by itself.
void ReplaceWord(std::string& text, std::string_view name, std::string_view by) {
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at)) {
        const std::size_t end = at + name.size();
        const bool alone = IsBoundary(text, at) && IsBoundary(text, end);
        if (alone)
            text.replace(at, name.size(), by);
        at += alone ? by.size() : 1;
    }
}

bool IsNode(std::string_view path) {
    constexpr std::string_view folder = "/dev/";
    return path.starts_with(folder) && path.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789",
                                                              folder.size()) == std::string_view::npos;
}

std::string NumberOf(HiddenNames& hidden, const std::string& name) {
    const auto known = hidden.files.find(name);
    if (known != hidden.files.end())
        return known->second;
    const std::string number = "file " + std::to_string(++hidden.count);
    if (hidden.files.size() < kMostNames)
        hidden.files.emplace(name, number);
    return number;
}

void ReplacePaths(std::string& text, HiddenNames& hidden) {
    for (std::size_t at = text.find('/'); at != std::string::npos; at = text.find('/', at)) {
        const bool begins =
            at == 0 || std::strchr(" \"'`(=,<\n", text[at - 1]) != nullptr ||
            (at >= 2 && text[at - 1] == '.' && std::strchr(" \"'`(", text[at - 2]) != nullptr);
        // A name can have all that a message ends a path with.
        const std::string path = text.substr(at, begins ? text.find('\n', at) - at : 1);
        const std::string_view node = std::string_view(path).substr(0, path.find_first_of(" :,)\"'`"));
        if (!begins || path.size() < 2 || path[1] == ' ' || IsNode(node)) {
            at += begins && IsNode(node) ? node.size() : 1;
            continue;
        }
        const std::string number = NumberOf(hidden, path);
        text.replace(at, path.size(), number);
        at += number.size();
    }
}

bool IsOfTheSystem(const std::string& text) {
    for (int error = 1; error < kSystemErrors; ++error)
        if (const char* said = ::strerrordesc_np(error); said != nullptr && text == said)
            return true;
    return false;
}

}  // namespace

void HideFileName(std::string_view name) {
    const std::size_t last = name.find_last_of('/');
    HiddenNames& hidden = Hidden();
    const std::lock_guard lock(hidden.mutex);
    if (name.size() < 2 || hidden.files.contains(name) || hidden.files.size() >= kMostNames)
        return;
    const std::string number = NumberOf(hidden, std::string(name));
    hidden.files.emplace(Printable(name), number);
    if (last == std::string_view::npos || name.size() - last <= 2)
        return;
    hidden.files.emplace(name.substr(last + 1), number);
    hidden.files.emplace(Printable(name.substr(last + 1)), number);
}

void HideUser() {
    HiddenNames& hidden = Hidden();
    const std::lock_guard lock(hidden.mutex);
    const auto hide = [&hidden](const char* name, const char* by) {
        const std::string_view said = name != nullptr ? name : "";
        if (said.size() > 1 && said != "root" && said != "/root" && said != "localhost")
            hidden.others.emplace_back(said, by);
    };
    hidden.others.clear();
    hide(std::getenv("HOME"), "HOME");
    for (const char* variable : {"USER", "LOGNAME", "SUDO_USER"})
        hide(std::getenv(variable), "USER");
    char host[256] = "";
    if (::gethostname(host, sizeof host - 1) == 0)
        hide(host, "HOST");
}

std::string WithoutNames(std::string_view given) {
    std::string text(given);
    HiddenNames& hidden = Hidden();
    const std::lock_guard lock(hidden.mutex);
    ReplaceNames(text, hidden.files);
    ReplacePaths(text, hidden);
    for (const auto& [name, by] : hidden.others)
        ReplaceWord(text, name, by);
    return text;
}

std::string WithoutNames(const Phrase& phrase) {
    const auto hide = [](const std::string& given) -> std::string {
        if (IsOfTheSystem(given) || IsNode(given))
            return given;
        HiddenNames& hidden = Hidden();
        const std::lock_guard lock(hidden.mutex);
        const auto known = hidden.files.find(Printable(given));
        return known != hidden.files.end() ? known->second : "...";
    };
    return phrase.WithGiven(hide).English();
}

}  // namespace lumato
