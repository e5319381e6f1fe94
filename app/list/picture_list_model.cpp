#include "app/list/picture_list_model.h"

#include <QPainter>
#include <QSet>
#include <algorithm>
#include <utility>

#include "app/list/picture_delegate.h"
#include "app/list/stream_image.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

using Keys = QList<QByteArray>;

const QString kBetween = QStringLiteral(" · ");

Keys KeysOf(const QList<ListedPicture>& pictures) {
    Keys keys;
    keys.reserve(pictures.size());
    for (const ListedPicture& picture : pictures)
        keys.append(picture.Key());
    return keys;
}

QHash<QByteArray, int> PlacesOf(const Keys& keys) {
    QHash<QByteArray, int> places;
    places.reserve(keys.size());
    for (const QByteArray& key : keys)
        places.insert(key, static_cast<int>(places.size()));
    return places;
}

// The same pixmap for selected rows: others are tinted.
QIcon PlainIcon(const QPixmap& pixmap) {
    QIcon icon(pixmap);
    icon.addPixmap(pixmap, QIcon::Selected);
    return icon;
}

}  // namespace

PictureListModel::PictureListModel(QObject* parent) : QAbstractListModel(parent) {}

PictureListModel::~PictureListModel() {
    m_reader.Clear();
    m_reader.Wait();
}

void PictureListModel::SetPictures(QList<ListedPicture> pictures) {
    const Keys wanted = KeysOf(pictures);
    if (wanted != m_keys) {
        Remove(wanted);
        Reorder(wanted);
        Insert(pictures, wanted);
    }
    Update(std::move(pictures));
}

// Rows that are gone, by runs from the end.
void PictureListModel::Remove(const Keys& wanted) {
    const QSet<QByteArray> kept(wanted.begin(), wanted.end());
    for (qsizetype end = m_keys.size(); end > 0;) {
        qsizetype first = end;
        while (first > 0 && !kept.contains(m_keys[first - 1]))
            --first;
        if (first == end) {
            --end;
            continue;
        }
        beginRemoveRows({}, static_cast<int>(first), static_cast<int>(end) - 1);
        for (qsizetype row = first; row < end; ++row)
            m_thumbnails.remove(m_keys[row]);
        m_keys.remove(first, end - first);
        m_pictures.remove(first, end - first);
        endRemoveRows();
        end = first;
    }
}

// The rows that are left, in their new order. Requires: all of them are wanted.
void PictureListModel::Reorder(const Keys& wanted) {
    const QHash<QByteArray, int> places = PlacesOf(wanted);
    QList<int> order;  // of the rows
    for (int row = 0; row < rowCount(); ++row)
        order.append(row);
    const auto place = [&](int row) { return places.value(m_keys[row]); };
    if (std::ranges::is_sorted(order, {}, place))
        return;
    emit layoutAboutToBeChanged();
    std::ranges::stable_sort(order, {}, place);
    QList<ListedPicture> pictures;
    Keys keys;
    QList<int> now(order.size());
    for (const int row : order) {
        now[row] = static_cast<int>(keys.size());
        keys.append(m_keys[row]);
        pictures.append(m_pictures[row]);
    }
    const QModelIndexList before = persistentIndexList();
    QModelIndexList after;
    for (const QModelIndex& one : before)
        after.append(index(now[one.row()]));
    m_pictures = std::move(pictures);
    m_keys = std::move(keys);
    changePersistentIndexList(before, after);
    emit layoutChanged();
}

// What is new, by runs. Requires: all other rows stand in their order.
void PictureListModel::Insert(const QList<ListedPicture>& pictures, const Keys& wanted) {
    const QSet<QByteArray> there(m_keys.begin(), m_keys.end());
    for (qsizetype first = 0; first < wanted.size(); ++first) {
        qsizetype end = first;
        while (end < wanted.size() && !there.contains(wanted[end]))
            ++end;
        if (end == first)
            continue;
        beginInsertRows({}, static_cast<int>(first), static_cast<int>(end) - 1);
        m_keys = m_keys.first(first) + wanted.sliced(first, end - first) + m_keys.sliced(first);
        m_pictures = m_pictures.first(first) + pictures.sliced(first, end - first) + m_pictures.sliced(first);
        endInsertRows();
        first = end;
    }
}

// What is said of pictures that have stayed. Requires: they stand in their rows.
void PictureListModel::Update(QList<ListedPicture> pictures) {
    int first = -1;
    int last = -1;
    for (int row = 0; row < rowCount(); ++row) {
        if (m_pictures[row] == pictures[row])
            continue;
        first = first < 0 ? row : first;
        last = row;
    }
    m_pictures = std::move(pictures);
    if (first >= 0)
        emit dataChanged(index(first), index(last));
}

void PictureListModel::SetWaitingText(const QString& text) {
    m_waitingText = text;
    if (!m_pictures.isEmpty())
        emit dataChanged(index(0), index(rowCount() - 1));
}

int PictureListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_pictures.size());
}

Qt::ItemFlags PictureListModel::flags(const QModelIndex& index) const {
    return index.isValid() ? QAbstractListModel::flags(index) | Qt::ItemIsDragEnabled : Qt::ItemIsDropEnabled;
}

QVariant PictureListModel::data(const QModelIndex& index, int role) const {
    const ListedPicture& picture = m_pictures[index.row()];
    const QByteArray& key = m_keys[index.row()];
    switch (role) {
        case Qt::DisplayRole:
        case Qt::AccessibleTextRole:
            return picture.name;
        case kRemarkRole:
            return Remark(picture).join(kBetween);
        case kSizeRole:
            return picture.bytes > 0 ? SizeText(picture.bytes) : QString();
        case Qt::AccessibleDescriptionRole:
            return (Remark(picture) << SizeText(picture.bytes)).join(kBetween);
        case Qt::ToolTipRole:
            return ToolTip(picture, key);
        case Qt::DecorationRole:
            if (!m_thumbnails.contains(key))
                MakeThumbnail(picture, key);
            return m_thumbnails.value(key).icon;
        default:
            return {};
    }
}

// The second line. Where it is narrow its end is left out: that a picture waits can be seen from its name,
// too.
QStringList PictureListModel::Remark(const ListedPicture& picture) const {
    QStringList parts;
    if (picture.inFrame && !picture.whyNoPicture.isEmpty())
        parts += picture.whyNoPicture;
    if (!picture.origin.isEmpty())
        parts += picture.origin.section(u'/', -1);
    if (!picture.inFrame)
        parts += m_waitingText;
    return parts;
}

QString PictureListModel::ToolTip(const ListedPicture& picture, const QByteArray& key) const {
    QStringList lines;
    if (!picture.origin.isEmpty())
        lines += picture.origin;
    StreamImage facts;
    facts.bytes = picture.bytes;
    facts.quality = m_thumbnails.value(key).quality;
    facts.whyNot = picture.whyNoPicture;
    lines += FactsOf(facts);
    return lines.join(u'\n');
}

void PictureListModel::MakeThumbnail(const ListedPicture& picture, const QByteArray& key) const {
    QPixmap empty(m_thumbnailSize);  // keeps the names in their places until the picture is there
    empty.fill(Qt::transparent);
    m_thumbnails.insert(key, {PlainIcon(empty)});
    auto* self = const_cast<PictureListModel*>(this);
    m_reader.Start([self, picture, key, size = m_thumbnailSize] {
        const StreamImage read = ReadStream(picture, Wanted::Image);
        QImage image = read.image;
        if (image.width() > size.width() || image.height() > size.height())
            image = image.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        self->m_calls.Post(
            [self, key, image, quality = read.quality] { self->TakeThumbnail(key, image, quality); });
    });
}

void PictureListModel::TakeThumbnail(const QByteArray& key, const QImage& image, int quality) {
    if (image.isNull() || !m_thumbnails.contains(key))
        return;
    QImage framed(m_thumbnailSize, QImage::Format_ARGB32_Premultiplied);
    framed.fill(Qt::transparent);
    QPainter painter(&framed);
    painter.drawImage((framed.width() - image.width()) / 2, (framed.height() - image.height()) / 2, image);
    painter.end();
    m_thumbnails.insert(key, {PlainIcon(QPixmap::fromImage(framed)), quality});
    const auto row = static_cast<int>(m_keys.indexOf(key));
    if (row >= 0)
        emit dataChanged(index(row), index(row), {Qt::DecorationRole});
}

}  // namespace lumato::app
