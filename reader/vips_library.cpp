#include <atomic>
#include <cstdio>

#include <vips/vips.h>

#include "reader/read_picture.h"

namespace lumato::reader {
namespace {

std::atomic<void (*)(const char*)> s_logLine{nullptr};

void Log(const gchar* domain, GLogLevelFlags level, const gchar* text, gpointer /*user*/) {
    // A damaged picture is an error of the call; what is only warned about, nobody could act on.
    if ((level & G_LOG_LEVEL_CRITICAL) == 0)
        return;
    void (*const log)(const char*) = s_logLine.load();
    if (!log)
        return;
    char line[512];
    std::snprintf(line, sizeof line, "%s: %s", domain ? domain : "vips", text);
    log(line);
}

}  // namespace

bool StartVips(void (*log)(const char* line)) {
    s_logLine = log;
    for (const char* domain : {"VIPS", "GLib", "GLib-GObject", "GLib-GIO"})
        g_log_set_handler(
            domain,
            static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
            Log, nullptr);
    if (VIPS_INIT("lumato") != 0)
        return false;
    // Every picture is read once, so that what its operations leave behind serves nobody.
    vips_cache_set_max(0);
    // Only readers that are kept safe against hostile files; JPEG XL's became so after this list was made.
    vips_block_untrusted_set(TRUE);
    vips_operation_block_set("VipsForeignLoadJxl", FALSE);
    return true;
}

}  // namespace lumato::reader
