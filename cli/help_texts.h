// The longer texts of the help: what FILE can be, and the examples at its end.
//
// Constants; any thread.
#pragma once

namespace lumato::cli {

inline constexpr const char* kGeneralFooter =
    "Exit status: 0 all done; 1 the frame or a file refused something; 2 wrong usage;\n"
    "3 no frame found, or FILE is no usable flash image; 4 what was asked for is kept and\n"
    "waits, but is not on the frame (`lumatoctl download` writes it).\n\n"
    "Ctrl-C while a frame is written: what is whole by then stays on it, the rest waits.\n"
    "A second one ends the program at once, and costs nothing either.\n\n"
    "A first try, without any hardware:\n"
    "  lumatoctl frame new my.frame --lcd 480x234 --flash 4M\n"
    "  lumatoctl --frame my.frame add ~/Pictures/*.jpg\n"
    "  lumatoctl frame render my.frame 1 shown.png";

inline constexpr const char* kPicturesHelp =
    "picture files, in the order wanted on the frame; - is standard input, @LIST a file with a name a line "
    "(or between NULs), @- such a list from standard input, ./@x a file called @x";

inline constexpr const char* kFramesExamples =
    "  lumatoctl frames\n"
    "  lumatoctl --frame /dev/sg2 list";
inline constexpr const char* kAddExamples =
    "  lumatoctl add ~/Pictures/*.jpg\n"
    "  lumatoctl add --make-room ~/Pictures/*.jpg --dry-run\n"
    "  lumatoctl add tower.jpg --rotate 90 --replace 3\n"
    "  convert tower.tif -crop 50% png:- | lumatoctl add -\n"
    "  find ~/Pictures -name '*.jpg' -print0 | lumatoctl add --dry-run @-";
inline constexpr const char* kDownloadExamples =
    "  lumatoctl download --dry-run\n"
    "  lumatoctl download";
inline constexpr const char* kDeleteExamples =
    "  lumatoctl delete 2-5,9\n"
    "  lumatoctl delete --all --yes";
inline constexpr const char* kCheckExamples =
    "  lumatoctl check\n"
    "  lumatoctl check --mend\n"
    "  lumatoctl check --mend --from frame.tar\n"
    "  lumatoctl check --json";
inline constexpr const char* kBackupExamples =
    "  lumatoctl backup frame.tar\n"
    "  tar tf frame.tar\n"
    "What waits for a download is in it, too.";
inline constexpr const char* kRestoreExamples =
    "  lumatoctl restore frame.tar --dry-run\n"
    "  lumatoctl restore frame.tar\n"
    "For a frame with another display each picture is fitted anew: from its photograph where that is still "
    "in\n"
    "its place, otherwise from the picture in the backup.";
inline constexpr const char* kMoveExamples =
    "  lumatoctl move 5 1\n"
    "  lumatoctl move 5 1 --dry-run\n"
    "Only the frame's table is written, not the pictures.";
inline constexpr const char* kSaveExamples =
    "  lumatoctl save ~/from-frame\n"
    "  lumatoctl save ~/from-frame 3 7-9";
inline constexpr const char* kDumpExamples =
    "  lumatoctl dump my.flash\n"
    "  lumatoctl frame new my.frame --from my.flash\n"
    "No command writes a dump back, on purpose: it holds the firmware of one unit in one version,\n"
    "and a frame that gets another one's cannot be brought back from outside.";
inline constexpr const char* kReportExamples =
    "  lumatoctl report my.report\n"
    "  lumatoctl replay my.report";
inline constexpr const char* kVerifyExamples = "  lumatoctl verify my.flash";
inline constexpr const char* kNewFrameExamples =
    "  lumatoctl frame new my.frame --lcd 480x234 --flash 4M\n"
    "  lumatoctl frame new my.frame --from my.flash";

}  // namespace lumato::cli
