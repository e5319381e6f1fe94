#include "app/list/stream_image.h"

#include "app/parts/screen_image.h"
#include "app/parts/texts.h"
#include "jpeg/stream_header.h"

namespace lumato::app {
namespace {

constexpr qint64 kKilobyte = 1024;

QString WordsOf(const Error& error) {
    return Localized(error.message);
}

}  // namespace

QString SizeText(qint64 bytes) {
    return LocalizedWith("SIZE_KB", "{} KB", QString::number((bytes + kKilobyte - 1) / kKilobyte));
}

StreamImage ReadStream(const ListedPicture& picture, Wanted wanted) {
    StreamImage shown;
    shown.bytes = picture.bytes;
    shown.whyNot = picture.whyNoPicture;
    if (!shown.whyNot.isEmpty())
        return shown;
    const auto stream = ReadPlainFile(picture.stream);
    if (!stream) {
        shown.whyNot = WordsOf(stream.error());
        return shown;
    }
    shown.bytes = static_cast<qint64>(stream->size());
    const auto decoded = jpeg::DecodeStream(*stream, picture.pixels.width(), picture.pixels.height());
    if (!decoded) {
        shown.whyNot = WordsOf(decoded.error());
        return shown;
    }
    shown.image = ImageOf(*decoded);
    shown.quality = jpeg::QualityOf(*stream).value_or(0);
    if (wanted == Wanted::Image)
        return shown;
    // One that was read back has what it decodes to in its bitmap.
    if (QImage bitmap = ReadBitmap(picture.bitmap);
        bitmap.size() == shown.image.size() && bitmap != shown.image)
        shown.unencoded = std::move(bitmap);
    return shown;
}

StreamImage TryOut(const picture::Trial& trial, const picture::IsWanted& isWanted) {
    StreamImage shown;
    shown.room = trial.plan.room;
    shown.shared = trial.plan.shared;
    const auto outcome = trial.Run(isWanted);
    if (!outcome) {
        shown.whyNot = WordsOf(outcome.error());
        return shown;
    }
    shown.whyNot = Localized(trial.plan.whyNot);
    shown.bytes = outcome->bytes;
    shown.quality = outcome->quality;
    shown.image = ImageOf(outcome->decoded);
    shown.unencoded = ImageOf(outcome->composed, trial.lcdWidth, trial.lcdHeight);
    return shown;
}

QString FactsOf(const StreamImage& shown) {
    QStringList facts;
    if (shown.bytes > 0)
        facts += SizeText(shown.bytes);
    if (shown.quality > 0)
        facts += LocalizedWith("ROOM_QUALITY", "quality {}", QString::number(shown.quality));
    if (!shown.whyNot.isEmpty()) {
        facts += shown.whyNot;
    } else if (shown.room >= 0 && shown.bytes > shown.room) {
        facts += LocalizedWith("PREVIEW_NO_ROOM", "no room, {} free",
                               SizeText(shown.room / kKilobyte * kKilobyte));
    } else if (shown.room > 0) {
        const QString share = QStringLiteral("%1 %").arg((100 * shown.bytes + shown.room - 1) / shown.room);
        facts += shown.shared ? LocalizedWith("PREVIEW_OF_SHARE", "{} of its share", share)
                              : LocalizedWith("PREVIEW_OF_ROOM", "{} of the free space", share);
    }
    return facts.join(QStringLiteral(" · "));
}

}  // namespace lumato::app
