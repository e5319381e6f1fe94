#include "app/parts/file_urls.h"

#include <string_view>

namespace lumato::app {

std::string FileAddress(const Path& file) {
    constexpr std::string_view kPlain = "!$&'()*+,-./:=@_~";
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string address = "file://";
    for (const char letter : file.native()) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool isWord =
            (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
        if (isWord || kPlain.find(letter) != std::string_view::npos)
            address += letter;
        else
            address.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
    return address;
}

QUrl UrlOf(const Path& file) {
    return QUrl::fromEncoded(QByteArray::fromStdString(FileAddress(file)));
}

std::vector<Path> PathsOf(const QList<QUrl>& urls) {
    std::vector<Path> files;
    for (const QUrl& url : urls) {
        if (!url.isLocalFile())
            continue;
        const QByteArray path = QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
        // The end of a name in the system's eyes, but not in ours.
        if (!path.isEmpty() && !path.contains('\0'))
            files.emplace_back(path.toStdString());
    }
    return files;
}

void TakeCopies(QDropEvent* event) {
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

}  // namespace lumato::app
