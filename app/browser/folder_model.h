// The items of one folder as a view shows them, in the order in which the folder was sorted.
//
// Main thread only.
#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <set>
#include <vector>

#include "app/browser/file_items.h"
#include "app/browser/thumbnails.h"

namespace lumato::app {

// What all columns of a browser show.
struct BrowserItems {
    FileItems items;
    Thumbnails thumbnails;
    std::set<Path> onFrame;  // photographs that listed pictures were made from
};

inline constexpr int kThumbnailRole = Qt::UserRole;    // a pixmap; null where there is none
inline constexpr int kOnFrameRole = Qt::UserRole + 1;  // a bool

class FolderModel : public QAbstractListModel {
    Q_OBJECT

  public:
    // Requires: `shown` outlives the model.
    explicit FolderModel(BrowserItems& shown, QWidget* parent);

    // Those of folders and photographs, which the first look at a folder would wait for.
    static void ReadIcons(const QWidget& window, int side);

    void SetItems(std::vector<ItemID> ids);
    [[nodiscard]] const std::vector<ItemID>& Ids() const { return m_ids; }
    [[nodiscard]] ItemID IdAt(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex IndexOf(ItemID id) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] QMimeData* mimeData(const QModelIndexList& indexes) const override;
    [[nodiscard]] QStringList mimeTypes() const override;

  private:
    [[nodiscard]] bool IsOnFrame(const tagFILEITEM& item) const;

    BrowserItems& m_shown;
    std::vector<ItemID> m_ids;
    QHash<ItemID, int> m_rows;
};

}  // namespace lumato::app
