// lumatoctl recover: the recovery journals of this home, and their pictures as files.
#include <algorithm>
#include <ctime>

#include "base/printable.h"
#include "cli/commands.h"
#include "picture/rv512_encoder.h"
#include "platform/linux/folder_lock.h"
#include "platform/linux/folders.h"
#include "store/kept_journals.h"

namespace lumato::cli {
namespace {

using store::KeptJournal;

// In the computer's own zone; empty for an unknown time.
std::string When(std::uint32_t seconds) {
    const std::time_t time = seconds;
    std::tm local{};
    char text[40] = "";
    if (seconds != 0 && ::localtime_r(&time, &local) != nullptr)
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

int List(const std::vector<KeptJournal>& journals, const Output& output) {
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    std::string text = Count(static_cast<long long>(journals.size()), "recovery journal");
    for (const KeptJournal& journal : journals) {
        json.push_back({{"number", journal.number},
                        {"frame", journal.frame},
                        {"pictures", journal.pictures},
                        {"kind", journal.kind},
                        {"when", When(journal.time)}});
        char line[80];
        std::snprintf(line, sizeof line, "\n%4d  %-10s %-19s  ", journal.number, journal.kind.c_str(),
                      When(journal.time).c_str());
        text += line + Count(journal.pictures, "picture") +
                (journal.frame.empty() ? "" : "  " + Printable(journal.frame));
    }
    output.Result({{"journals", json}}, text);
    return kDone;
}

int Save(const KeptJournal& journal, const Path& folder, const Output& output) {
    picture::CRv512Encoder codec;
    const Result<store::GivenOut> given = store::GiveOut(journal, folder, codec);
    if (!given)
        return output.Failed(kRefused, given.error().message);
    for (const Error& failed : given->failed)
        Output::Complain(failed.message);
    std::string text = Count(given->saved, "picture") + " saved in " + Printable(folder.string());
    if (given->onFrame > 0)
        text += "; " + Count(given->onFrame, "picture") +
                (given->onFrame == 1
                     ? " was stored on the frame when its download broke off; no copy of it is kept here"
                     : " were stored on the frame when its download broke off; no copy of them is kept here");
    output.Result({{"saved", given->saved}, {"on_frame", given->onFrame}}, text);
    return given->failed.empty() ? kDone : kRefused;
}

int Forget(const KeptJournal& journal, const Path& home, const Output& output) {
    const Result<platform::FolderLock> lock = platform::FolderLock::Take(home);
    if (!lock)
        return output.Failed(kRefused, lock.error().message);
    if (const Result<void> done = store::SetAside(journal); !done)
        return output.Failed(kRefused, done.error().message);
    output.Result({{"forgotten", journal.number}},
                  "no frame is offered these pictures any more; their files are kept");
    return kDone;
}

}  // namespace

int RunRecover(const Arguments& arguments, const Output& output) {
    const Path state = platform::StateFolder(arguments.home);
    const Result<std::vector<KeptJournal>> read = store::KeptJournals(state);
    if (!read)
        return output.Failed(kRefused, read.error().message);
    const std::vector<KeptJournal>& journals = *read;
    if (arguments.position == 0)
        return List(journals, output);
    const auto found = std::ranges::find(journals, arguments.position, &KeptJournal::number);
    if (found == journals.end())
        return output.Failed(kRefused, Phrase("", "there is no recovery journal {}", arguments.position));
    return arguments.forget ? Forget(*found, platform::ResourcesFolder(arguments.home), output)
                            : Save(*found, *arguments.saveFolder, output);
}

}  // namespace lumato::cli
