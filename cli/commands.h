// The commands, one file each. Every function does its whole job and returns the exit status. Main thread.
#pragma once

#include "cli/arguments.h"
#include "cli/output.h"

namespace lumato::cli {

// With a frame: cli/info.cpp and so on.
int RunFrames(const Arguments& arguments, const Output& output);
int RunInfo(const Arguments& arguments, const Output& output);
int RunList(const Arguments& arguments, const Output& output);
int RunAdd(const Arguments& arguments, const Output& output);
int RunDownload(const Arguments& arguments, const Output& output);
int RunDelete(const Arguments& arguments, const Output& output);
int RunBackup(const Arguments& arguments, const Output& output);
int RunRestore(const Arguments& arguments, const Output& output);
int RunCheck(const Arguments& arguments, const Output& output);
int RunMove(const Arguments& arguments, const Output& output);
int RunSave(const Arguments& arguments, const Output& output);
int RunDump(const Arguments& arguments, const Output& output);
int RunVerify(const Arguments& arguments, const Output& output);

// Without one.
int RunCompose(const Arguments& arguments, const Output& output);
int RunEncode(const Arguments& arguments, const Output& output);
int RunDecode(const Arguments& arguments, const Output& output);
int RunRecover(const Arguments& arguments, const Output& output);
int RunReport(const Arguments& arguments, const Output& output);
int RunReplay(const Arguments& arguments, const Output& output);
int RunText(const Arguments& arguments, const Output& output);

// The computer's permissions.
int RunPermit(const Arguments& arguments, const Output& output);

// Virtual frames.
int RunFrameNew(const Arguments& arguments, const Output& output);
int RunFrameServe(const Arguments& arguments, const Output& output);
int RunFrameRender(const Arguments& arguments, const Output& output);

}  // namespace lumato::cli
