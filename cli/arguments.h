// What the command line asks for, as values. Parsing touches no file and no frame. Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/file.h"
#include "cli/values.h"
#include "vframe/faults.h"

namespace lumato::cli {

enum class Command {
    None,  // --help or --version was answered, or the usage is wrong
    Frames,
    Info,
    List,
    Add,
    Download,
    Delete,
    Move,
    Check,
    Backup,
    Restore,
    Save,
    Dump,
    Verify,
    Recover,
    Report,
    Replay,
    Compose,
    Encode,
    Decode,
    Text,
    FrameNew,
    FrameServe,
    FrameRender,
    Permit,
};

// The values of the window's controls; what is not given keeps the fitted pose.
struct PoseArguments {
    std::optional<int> rotate;               // degrees, clockwise
    std::optional<int> scale;                // percent
    std::optional<int> x;                    // pixels to the right
    std::optional<int> y;                    // pixels up
    std::optional<std::vector<float>> rect;  // x, y, width, height of the LCD rectangle
};

struct NewFrameArguments {
    std::uint64_t flashBytes = 0;
    std::uint64_t tableAddress = 0x10000;
    int limit = 0;
    int sampling = 4;
    int quality = 90;
    std::uint8_t erase = 0xD8;
    int pageOption = 0;
    std::optional<std::uint64_t> firmwareEnd;
    std::optional<Path> from;  // a dump, in place of all that
};

struct ServeArguments {
    Path socket;
    bool connect = false;
    std::optional<Path> control;
    std::optional<std::string> vendor;
    int type = 0;
};

struct Arguments {
    Command command = Command::None;
    std::string commandName;  // such as "frame new"
    int exitStatus = 0;       // for Command::None

    // Options of every command.
    std::optional<Path> frame;
    std::optional<Path> home;
    std::optional<Path> trace;
    std::shared_ptr<std::optional<Error>> traceError =
        std::make_shared<std::optional<Error>>();  // why it is not whole: whoever wrote it says so in the end
    std::function<void()> beginLog = [] {};        // once it is known that the usage was right
    std::vector<vframe::Fault> faults;
    std::optional<double> pace;
    bool json = false;
    bool quiet = false;
    bool progress = false;
    bool verbose = false;

    // Each command uses those that its usage names.
    std::vector<Path> files;  // add: pictures; others: their file arguments in order
    // Those that the call reads and writes, `files` and others, for the checks that hold for every command.
    std::vector<Path> inputs, outputs;
    std::vector<int> positions;      // delete, save
    int position = 0;                // frame render, move; recover: the journal, 0 for none
    int newPosition = 0;             // move
    bool all = false;                // delete --all
    bool yes = false;                // and without a question
    bool originalNames = false;      // save
    bool check = false;              // what was written, by reading it back
    bool mend = false;               // check
    int replaceAt = 0;               // add --replace: a position; 0: none
    bool makeRoom = false;           // add
    std::optional<Path> from;        // and a backup for that
    bool force = false;              // backup
    bool dryRun = false;             // add, download, delete, move, restore
    std::optional<Path> saveFolder;  // recover --save
    bool forget = false;             // recover --forget
    PoseArguments pose;
    std::optional<Size> size;  // --size, --lcd
    int quality = 90;
    int sampling = 4;
    std::string key, defaultText;
    std::optional<std::string> section;
    NewFrameArguments newFrame;
    ServeArguments serve;
};

// Answers --help and --version on standard output. Wrong usage (exit status 2) is complained about as
// Output::Failed() does, as JSON wherever --json stands.
[[nodiscard]] Arguments ParseArguments(int argc, const char* const* argv);

}  // namespace lumato::cli
