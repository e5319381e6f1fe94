// One column of the disk browser: the items of one folder.
//
// Main thread only.
#pragma once

#include <QAbstractListModel>
#include <QListView>
#include <vector>

#include "app/browser/file_items.h"

namespace lumato::app {

class FolderModel : public QAbstractListModel {
    Q_OBJECT

  public:
    // Requires: the records outlive the model.
    explicit FolderModel(FileItems& items, QObject* parent = nullptr)
        : QAbstractListModel(parent), m_items(items) {}

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
    FileItems& m_items;
    std::vector<ItemID> m_ids;  // in ascending order
};

class FolderColumn : public QListView {
    Q_OBJECT

  public:
    FolderColumn(FileItems& items, ItemID folder, QWidget* parent);

    [[nodiscard]] ItemID Folder() const { return m_folder; }
    [[nodiscard]] FolderModel& Model() { return *m_model; }
    [[nodiscard]] std::vector<ItemID> Selected() const;
    // Makes the item the only selection, in view.
    void SelectOnly(ItemID id);

    [[nodiscard]] QSize minimumSizeHint() const override;

  signals:
    void SelectionChanged();
    // The keyboard asks for the column on the left (-1) or on the right (1).
    void LeaveTo(int direction);

  protected:
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    ItemID m_folder;
    FolderModel* m_model;
};

}  // namespace lumato::app
