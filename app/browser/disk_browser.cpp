#include "app/browser/disk_browser.h"

#include <QScrollBar>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "app/parts/texts.h"

namespace lumato::app {

DiskBrowser::DiskBrowser(QWidget* parent) : QScrollArea(parent) {
    auto* content = new QWidget;
    m_layout = new QHBoxLayout(content);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(1);
    setWidget(content);
    setWidgetResizable(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    // The layout tells its new width when it comes to it.
    connect(horizontalScrollBar(), &QScrollBar::rangeChanged, this, &DiskBrowser::ShowLastColumn);
}

DiskBrowser::~DiskBrowser() {
    m_reader.Wait();
}

void DiskBrowser::MyInitializeDataBrowserControl() {
    CloseColumnsBehind(0);
    FolderColumn* root = m_columns.empty() ? AddColumn(kRootContainer) : m_columns.front();
    FileItemArray.Clear();
    root->Model().SetItems(GetSystemDisk(FileItemArray));
    ShowTexts();
}

void DiskBrowser::ShowTexts() {
    if (!m_columns.empty()) {
        for (const ItemID id : m_columns.front()->Model().Ids()) {
            tagFILEITEM& place = *FileItemArray.Find(id);
            if (const QString name = NameOfPlace(place.spec); !name.isEmpty())
                place.name = name;
        }
        m_columns.front()->viewport()->update();
    }
    for (FolderColumn* column : m_columns) {
        const tagFILEITEM* folder = FileItemArray.Find(column->Folder());
        column->setAccessibleName(folder != nullptr ? folder->name : accessibleName());
    }
}

FolderColumn* DiskBrowser::AddColumn(ItemID folder) {
    auto* column = new FolderColumn(FileItemArray, folder, widget());
    // In the place of the browser, not behind all else.
    setTabOrder(m_columns.empty() ? static_cast<QWidget*>(this) : m_columns.back(), column);
    m_columns.push_back(column);
    m_layout->addWidget(column);
    connect(column, &FolderColumn::SelectionChanged, this, [this, column] { TakeSelection(column); });
    connect(column, &FolderColumn::LeaveTo, this, [this, column](int to) { Leave(column, to); });
    ShowTexts();
    SizeColumns();
    return column;
}

void DiskBrowser::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    SizeColumns();
}

// As many whole columns as there is room for, so that none is cut at the edge.
void DiskBrowser::SizeColumns() {
    if (m_columns.empty())
        return;
    const int room = viewport()->width();
    const int gap = m_layout->spacing();
    const int fitting = std::max(1, (room + gap) / (m_columns.front()->minimumSizeHint().width() + gap));
    const int shown = std::min(fitting, static_cast<int>(m_columns.size()));
    const int width = (room + gap) / shown - gap;
    for (FolderColumn* column : m_columns)
        column->setFixedWidth(width);
    m_layout->setContentsMargins(0, 0, room - shown * (width + gap) + gap, 0);
    ShowLastColumn();
}

// The records go with their columns, the newest first.
void DiskBrowser::CloseColumnsBehind(std::size_t column) {
    while (m_columns.size() > column + 1) {
        FolderColumn* last = m_columns.back();
        m_columns.pop_back();
        const std::vector<ItemID> ids = last->Model().Ids();
        last->Model().SetItems({});
        for (auto id = ids.rbegin(); id != ids.rend(); ++id) {
            if (G_CurSelItem == *id)
                G_CurSelItem = kNoItem;
            FileItemArray.Remove(*id);
        }
        last->hide();
        last->deleteLater();
    }
    SizeColumns();
}

std::size_t DiskBrowser::PositionOf(const FolderColumn* column) const {
    return static_cast<std::size_t>(std::ranges::find(m_columns, column) - m_columns.begin());
}

void DiskBrowser::TakeSelection(FolderColumn* column) {
    const std::size_t position = PositionOf(column);
    if (m_quiet || position == m_columns.size())
        return;
    m_opening.clear();  // where the user turns off, the way ends
    ++m_request;        // whatever folder is still being read is no longer wanted
    CloseColumnsBehind(position);
    const std::vector<ItemID> selected = column->Selected();
    const tagFILEITEM* only = selected.size() == 1 ? FileItemArray.Find(selected.front()) : nullptr;
    if (only != nullptr && only->isFolder != 0)
        OpenFolderOf(only->itemID);
    else if (!selected.empty())
        emit SelectionSetChanged();
}

void DiskBrowser::OpenFolderOf(ItemID item) {
    const Path folder = FileItemArray.Find(item)->spec;
    const bool firstVolume = item == kFirstItem;
    const int request = ++m_request;
    ++m_reading;
    AddColumn(item);
    m_reader.Start([this, folder, item, firstVolume, request] {
        std::vector<FolderEntry> entries = FSGetDirectoryItems(folder, firstVolume);
        m_calls.Post([this, item, request, entries = std::move(entries)]() mutable {
            --m_reading;
            TakeFolder(item, request, std::move(entries));
        });
    });
}

void DiskBrowser::TakeFolder(ItemID folder, int request, std::vector<FolderEntry> entries) {
    if (request != m_request || m_columns.back()->Folder() != folder)
        return;
    m_columns.back()->Model().SetItems(ExpendFolder(FileItemArray, std::move(entries)));
    ShowLastColumn();
    ContinueOpening();
    if (m_opening.empty())
        emit FolderOpened(OpenFolder());
}

void DiskBrowser::OpenPath(const Path& folder) {
    if (m_columns.empty())
        return;
    CloseColumnsBehind(0);
    m_quiet = true;
    m_columns.front()->clearSelection();  // selecting the volume must be a change
    m_quiet = false;
    m_opening = folder;
    ContinueOpening();
}

// Selects, in the last column, the item that leads on to the folder; the longest fitting volume first.
void DiskBrowser::ContinueOpening() {
    if (m_opening.empty())
        return;
    FolderColumn* last = m_columns.back();
    ItemID best = kNoItem;
    std::size_t bestLength = 0;
    for (const ItemID id : last->Model().Ids()) {
        const tagFILEITEM* item = FileItemArray.Find(id);
        const auto [end, rest] = std::ranges::mismatch(item->spec, m_opening);
        const auto length = item->spec.native().size();
        if (item->isFolder != 0 && (end == item->spec.end() || end->empty()) && length > bestLength) {
            best = id;
            bestLength = length;
        }
    }
    const Path opening = std::exchange(m_opening, {});
    if (best == kNoItem)
        return;
    last->SelectOnly(best);
    if (FileItemArray.Find(best)->spec != opening)
        m_opening = opening;
}

void DiskBrowser::Leave(FolderColumn* column, int direction) {
    const std::size_t position = PositionOf(column);
    if (direction < 0 && position > 0)
        m_columns[position - 1]->setFocus();
    if (direction > 0 && position + 1 < m_columns.size()) {
        FolderColumn* next = m_columns[position + 1];
        next->setFocus();
        if (next->Selected().empty() && !next->Model().Ids().empty())
            next->SelectOnly(next->Model().Ids().front());
    }
}

std::vector<ItemID> DiskBrowser::Selected() const {
    std::vector<ItemID> ids;
    for (const FolderColumn* column : m_columns) {
        const std::vector<ItemID> selected = column->Selected();
        ids.insert(ids.end(), selected.begin(), selected.end());
    }
    std::ranges::sort(ids);
    return ids;
}

void DiskBrowser::SelectQuietly(ItemID id) {
    m_quiet = true;
    for (FolderColumn* column : m_columns) {
        // One of several that are selected: they stay so.
        const bool selected = std::ranges::binary_search(column->Selected(), id);
        if (id == kNoItem && column == m_columns.back())
            column->clearSelection();
        else if (column->Model().IndexOf(id).isValid() && !selected)
            column->SelectOnly(id);
    }
    m_quiet = false;
}

void DiskBrowser::TakeFocus() {
    if (!m_columns.empty())
        m_columns.back()->setFocus();
}

Path DiskBrowser::OpenFolder() const {
    if (m_columns.size() < 2)
        return {};
    const auto folder = FileItemArray.All().find(m_columns.back()->Folder());
    return folder == FileItemArray.All().end() ? Path() : folder->second.spec;
}

void DiskBrowser::ShowLastColumn() {
    QTimer::singleShot(0, this,
                       [this] { horizontalScrollBar()->setValue(horizontalScrollBar()->maximum()); });
}

}  // namespace lumato::app
