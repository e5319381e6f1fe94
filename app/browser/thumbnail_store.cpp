#include "app/browser/thumbnail_store.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QImageReader>
#include <QImageWriter>
#include <QStandardPaths>
#include <algorithm>
#include <array>
#include <utility>

#include "app/parts/file_urls.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

struct ThumbnailSize {
    int side;
    const char* folder;
};

constexpr std::array kThumbnailSizes = {ThumbnailSize{128, "normal"}, ThumbnailSize{256, "large"},
                                        ThumbnailSize{512, "x-large"}};

// Of the largest, uncompressed and with what its maker says of it.
constexpr std::uintmax_t kMostBytes = 2 << 20;
constexpr int kPngStart = 8 + 25;  // the signature and the first chunk, behind which texts may stand

const ThumbnailSize& SizeOf(int side) {
    return *std::ranges::find(kThumbnailSizes, side, &ThumbnailSize::side);
}

std::uint32_t PngChecksum(const QByteArray& bytes) {
    std::uint32_t sum = 0xFFFFFFFF;
    for (const char letter : bytes) {
        sum ^= static_cast<unsigned char>(letter);
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0xEDB88320 : 0);
    }
    return ~sum;
}

QByteArray BigEndian(std::uint32_t value) {
    QByteArray bytes;
    for (const int shift : {24, 16, 8, 0})
        bytes.append(static_cast<char>(value >> shift));
    return bytes;
}

// Qt compresses the longer ones, which not every reader expects.
QByteArray PngText(const char* key, const std::string& value) {
    const QByteArray chunk = "tEXt" + QByteArray(key) + '\0' + QByteArray::fromStdString(value);
    return BigEndian(static_cast<std::uint32_t>(chunk.size() - 4)) + chunk + BigEndian(PngChecksum(chunk));
}

QByteArray PngOf(const QImage& image) {
    QBuffer buffer;
    QImageWriter writer(&buffer, "png");
    return writer.write(image) ? buffer.data() : QByteArray();
}

}  // namespace

ThumbnailStore::ThumbnailStore()
    : m_folder(PathOf(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)) /
               "thumbnails") {
    if (const QString version = QCoreApplication::applicationVersion(); !version.isEmpty())
        m_failures += "-" + version.toStdString();
}

int ThumbnailStore::SideFor(int pixels) {
    for (const ThumbnailSize& size : kThumbnailSizes) {
        if (size.side >= pixels)
            return size.side;
    }
    return kThumbnailSizes.back().side;
}

QImage ThumbnailStore::Read(const PhotoFile& photo, int side) const {
    return ReadEntry(photo, SizeOf(side).folder, side);
}

bool ThumbnailStore::HasFailed(const PhotoFile& photo) const {
    return !ReadEntry(photo, Path("fail") / m_failures, kThumbnailSizes.front().side).isNull();
}

void ThumbnailStore::Write(const PhotoFile& photo, const QImage& thumbnail, int side) const {
    WriteEntry(photo, SizeOf(side).folder, thumbnail);
}

void ThumbnailStore::WriteFailure(const PhotoFile& photo) const {
    QImage nothing(1, 1, QImage::Format_ARGB32);
    nothing.fill(Qt::transparent);
    WriteEntry(photo, Path("fail") / m_failures, nothing);
}

bool ThumbnailStore::Holds(const Path& file) const {
    return std::ranges::mismatch(m_folder, file).in1 == m_folder.end();
}

Path ThumbnailStore::FileOf(const PhotoFile& photo, const Path& kind) const {
    const auto address = QByteArray::fromStdString(FileAddress(photo.path));
    const QByteArray hash = QCryptographicHash::hash(address, QCryptographicHash::Md5).toHex();
    return m_folder / kind / (hash.toStdString() + ".png");
}

QImage ThumbnailStore::ReadEntry(const PhotoFile& photo, const Path& kind, int most) const {
    const auto bytes = ReadPlainFile(FileOf(photo, kind), kMostBytes);
    if (!bytes)
        return {};
    QByteArray png(reinterpret_cast<const char*>(bytes->data()), static_cast<qsizetype>(bytes->size()));
    QBuffer buffer(&png);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "png");
    reader.setAutoDetectImageFormat(false);
    const QSize size = reader.size();
    if (size.isEmpty() || size.width() > most || size.height() > most)
        return {};
    QImage image = reader.read();
    const QString date = image.text(QStringLiteral("Thumb::MTime")).section(u'.', 0, 0);
    const QString bytesThen = image.text(QStringLiteral("Thumb::Size"));
    const bool isOfNow = image.text(QStringLiteral("Thumb::URI")).toStdString() == FileAddress(photo.path) &&
                         date == QString::number(photo.modified) &&
                         (bytesThen.isEmpty() || bytesThen == QString::number(photo.size));
    return isOfNow ? image : QImage();
}

void ThumbnailStore::WriteEntry(const PhotoFile& photo, const Path& kind, const QImage& image) const {
    const QByteArray png = PngOf(image);
    if (png.size() <= kPngStart || !MakePrivateFolder(m_folder / kind))
        return;
    const QByteArray whole = png.first(kPngStart) + PngText("Thumb::URI", FileAddress(photo.path)) +
                             PngText("Thumb::MTime", std::to_string(photo.modified)) +
                             PngText("Thumb::Size", std::to_string(photo.size)) +
                             PngText("Software", "Lumato") + png.sliced(kPngStart);
    static_cast<void>(WriteFile(
        FileOf(photo, kind),
        {reinterpret_cast<const std::uint8_t*>(whole.constData()), static_cast<std::size_t>(whole.size())},
        Links::Replace));
}

}  // namespace lumato::app
