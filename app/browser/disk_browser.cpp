#include "app/browser/disk_browser.h"

#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "app/browser/thumbnail_delegate.h"
#include "app/browser/thumbnail_maker.h"
#include "app/parts/symbols.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr int kFoldersAtOnce = 4;
constexpr std::chrono::milliseconds kChangesSettle{400};

}  // namespace

DiskBrowser::DiskBrowser(QWidget* parent) : QWidget(parent), m_reader(kFoldersAtOnce) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    MakeBar();
    // Between the first painting and the first folder.
    QTimer::singleShot(0, this, [this] { FolderModel::ReadIcons(*this, ThumbnailDelegate::kIconSide); });
    m_area = new QScrollArea(this);
    layout->addWidget(m_area, 1);
    auto* content = new QWidget;
    m_layout = new QHBoxLayout(content);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(1);
    m_area->setWidget(content);
    m_area->setWidgetResizable(true);
    m_area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_area->setFocusPolicy(Qt::NoFocus);
    setFocusPolicy(Qt::NoFocus);
    // The layout tells its new width when it comes to it.
    connect(m_area->horizontalScrollBar(), &QScrollBar::rangeChanged, this, &DiskBrowser::ShowLastColumn);
    connect(&m_watch, &FolderWatch::Changed, this, &DiskBrowser::TakeChange);
    m_changeTimer.setSingleShot(true);
    m_changeTimer.setInterval(kChangesSettle);
    connect(&m_changeTimer, &QTimer::timeout, this, [this] {
        const std::set<int> changed = std::exchange(m_changed, {});
        for (FolderColumn* column : m_columns) {
            if (changed.contains(column->watch) || changed.contains(kNoWatch))
                Read(column);
        }
    });
    m_thumbnailTimer.setSingleShot(true);
    m_thumbnailTimer.setInterval(0);
    connect(&m_thumbnailTimer, &QTimer::timeout, this, &DiskBrowser::WantThumbnails);
    connect(&m_shown.thumbnails, &Thumbnails::Made, this, [this](const Path& file) {
        m_thumbnailTimer.start();  // it may have been begun for a box of another size
        FolderColumn* last = m_columns.back();
        for (const ItemID id : last->InView()) {
            if (Items().Find(id)->spec == file)
                last->update(last->Model().IndexOf(id));
        }
    });
}

void DiskBrowser::MakeBar() {
    auto* bar = new QHBoxLayout;
    bar->setSpacing(2);
    m_upButton = new QToolButton(this);
    m_path = new PathBar(this);
    m_menuButton = new QToolButton(this);
    bar->addWidget(m_upButton, 0, Qt::AlignTop);
    bar->addWidget(m_path, 1);
    bar->addWidget(m_menuButton, 0, Qt::AlignTop);
    static_cast<QVBoxLayout*>(layout())->addLayout(bar);
    m_upButton->setAutoRaise(true);
    m_menuButton->setAutoRaise(true);
    connect(m_menuButton, &QToolButton::clicked, this, [this] {
        if (m_menu != nullptr)
            m_menu->popup(m_menuButton->mapToGlobal(m_menuButton->rect().bottomLeft()));
    });
    m_upButton->setIcon(Symbol("up", QPalette::WindowText));
    m_menuButton->setIcon(Symbol("tiles", QPalette::WindowText));
    for (QToolButton* button : {m_upButton, m_menuButton})
        button->setFocusPolicy(Qt::TabFocus);
    connect(m_upButton, &QToolButton::clicked, this, &DiskBrowser::GoUp);
    connect(m_path, &PathBar::StepChosen, this,
            [this](int step) { GoBackTo(static_cast<std::size_t>(step)); });
    connect(m_path, &PathBar::FolderNamed, this, &DiskBrowser::OpenPath);
    connect(m_path, &PathBar::Left, this, &DiskBrowser::TakeFocus);
}

void DiskBrowser::ForgetAll() {
    EndOpening();
    CloseColumnsBehind(0);
    if (!m_columns.empty())
        m_columns.front()->Model().SetItems({});
    Items().Clear();
}

void DiskBrowser::MyInitializeDataBrowserControl() {
    ForgetAll();
    FolderColumn* root = m_columns.empty() ? AddColumn(kRootContainer) : m_columns.front();
    root->isListed = true;
    root->watch = kMountsWatch;
    root->Model().SetItems(GetSystemDisk(Items()));
    ShowTexts();
    Read(root);
}

void DiskBrowser::ShowTexts() {
    if (!m_columns.empty()) {
        for (const ItemID id : m_columns.front()->Model().Ids()) {
            tagFILEITEM& place = *Items().Find(id);
            if (const QString name = NameOfPlace(place.spec); !name.isEmpty())
                place.name = name;
        }
        m_columns.front()->viewport()->update();
    }
    m_path->ShowTexts();
    m_upButton->setAccessibleName(Localized("GO_UP", "Parent Folder"));
    m_upButton->setToolTip(m_upButton->accessibleName());
    m_menuButton->setAccessibleName(Localized("MENU_VIEW", "View"));
    m_menuButton->setToolTip(m_menuButton->accessibleName());
    for (FolderColumn* column : m_columns) {
        const tagFILEITEM* folder = Items().Find(column->Folder());
        column->setAccessibleName(folder != nullptr ? folder->name : accessibleName());
    }
    ShowWay();
}

void DiskBrowser::ShowWay() {
    QStringList names;
    for (const FolderColumn* column : m_columns) {
        const tagFILEITEM* folder = Items().Find(column->Folder());
        names.append(folder != nullptr ? folder->name : accessibleName());
    }
    m_path->SetWay(names, OpenFolder());
    m_upButton->setEnabled(m_columns.size() > 1);
}

FolderColumn* DiskBrowser::AddColumn(ItemID folder) {
    auto* column = new FolderColumn(m_shown, folder, m_area->widget());
    const bool hasFocus = !m_columns.empty() && m_columns.back()->hasFocus();
    // In the place of the browser, not behind all else.
    setTabOrder(m_columns.empty() ? static_cast<QWidget*>(m_menuButton) : m_columns.back(), column);
    m_columns.push_back(column);
    m_layout->addWidget(column);
    connect(column, &FolderColumn::SelectionChanged, this, [this, column] { TakeSelection(column); });
    connect(column, &FolderColumn::FolderChosen, this, [this](ItemID id) {
        if (const tagFILEITEM* item = Items().Find(id); item != nullptr && item->isFolder != 0)
            OpenFolderOf(id);
    });
    connect(column, &FolderColumn::LeaveTo, this, [this, column](int to) { Leave(column, to); });
    connect(column, &FolderColumn::PathBegun, m_path, &PathBar::Edit);
    connect(column, &FolderColumn::ViewChanged, &m_thumbnailTimer, qOverload<>(&QTimer::start));
    ShowTexts();
    SizeColumns();
    if (hasFocus && IsGrid())
        column->setFocus();
    return column;
}

void DiskBrowser::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // The area gets its size from the layout, behind this.
    QTimer::singleShot(0, this, &DiskBrowser::SizeColumns);
}

void DiskBrowser::SetView(BrowserView view) {
    if (std::exchange(m_view, view) == view)
        return;
    SizeColumns();
    m_thumbnailTimer.start();
}

void DiskBrowser::SetOrder(SortOrder order) {
    if (std::exchange(m_order, order) != order)
        Refresh();
}

void DiskBrowser::SetOnFrame(std::set<Path> photographs) {
    if (std::exchange(m_shown.onFrame, photographs) == photographs)
        return;
    for (FolderColumn* column : m_columns)
        column->viewport()->update();
}

// The grid fills the browser. Of columns as many whole ones as there is room for, so that none is cut at the
// edge.
void DiskBrowser::SizeColumns() {
    if (m_columns.empty())
        return;
    const int room = m_area->viewport()->width();
    const int gap = m_layout->spacing();
    const int fitting = std::max(1, (room + gap) / (m_columns.front()->minimumSizeHint().width() + gap));
    const int shown = IsGrid() ? 1 : std::min(fitting, static_cast<int>(m_columns.size()));
    const int width = (room + gap) / shown - gap;
    for (FolderColumn* column : m_columns) {
        column->setFixedWidth(width);
        column->ShowAsGrid(IsGrid());
        column->setVisible(!IsGrid() || column == m_columns.back());
    }
    m_layout->setContentsMargins(0, 0, room - shown * (width + gap) + gap, 0);
    ShowLastColumn();
}

// The records go with their columns, the newest first.
void DiskBrowser::CloseColumnsBehind(std::size_t column) {
    if (m_columns.size() <= column + 1)
        return;
    while (m_columns.size() > column + 1) {
        FolderColumn* last = m_columns.back();
        m_columns.pop_back();
        StopWatching(last->watch);
        last->disconnect(this);
        const std::vector<ItemID> ids = last->Model().Ids();
        last->Model().SetItems({});
        ForgetRecords(ids);
        last->hide();
        last->deleteLater();
    }
    SizeColumns();
    ShowWay();
}

void DiskBrowser::ForgetRecords(const std::vector<ItemID>& ids) {
    for (auto id = ids.rbegin(); id != ids.rend(); ++id) {
        if (G_CurSelItem == *id)
            G_CurSelItem = kNoItem;
        Items().Remove(*id);
    }
}

void DiskBrowser::GoUp() {
    if (m_columns.size() > 1)
        GoBackTo(m_columns.size() - 2);
}

void DiskBrowser::GoBackTo(std::size_t column) {
    if (column + 1 >= m_columns.size())
        return;
    const bool hasFocus = m_area->isAncestorOf(focusWidget());
    EndOpening();
    CloseColumnsBehind(column);
    if (hasFocus || IsGrid())
        TakeFocus();
    emit FolderOpened(OpenFolder());
}

std::size_t DiskBrowser::PositionOf(const FolderColumn* column) const {
    return static_cast<std::size_t>(std::ranges::find(m_columns, column) - m_columns.begin());
}

void DiskBrowser::TakeSelection(FolderColumn* column) {
    const std::size_t position = PositionOf(column);
    if (m_quiet || position == m_columns.size())
        return;
    EndOpening();  // where the user turns off, the way ends
    CloseColumnsBehind(position);
    const std::vector<ItemID> selected = column->Selected();
    const tagFILEITEM* only = selected.size() == 1 ? Items().Find(selected.front()) : nullptr;
    if (only != nullptr && only->isFolder != 0 && !IsGrid())
        OpenFolderOf(only->itemID);
    else if (!selected.empty())
        emit SelectionSetChanged();
}

void DiskBrowser::OpenFolderOf(ItemID item) {
    Read(AddColumn(item));
}

bool DiskBrowser::IsReading() const {
    return std::ranges::any_of(m_columns, [](const FolderColumn* column) { return column->reading != 0; });
}

void DiskBrowser::OpenPath(const Path& folder) {
    if (m_columns.empty())
        return;
    CloseColumnsBehind(0);
    m_opening = folder;
    m_area->setUpdatesEnabled(!IsGrid());  // who wants one folder need not see those on the way
    ContinueOpening();
}

void DiskBrowser::EndOpening() {
    m_opening.clear();
    m_area->setUpdatesEnabled(true);
}

// Selects, in the last column, the item that leads on to the folder; the longest fitting volume first.
void DiskBrowser::ContinueOpening() {
    if (m_opening.empty())
        return;
    FolderColumn* last = m_columns.back();
    ItemID best = kNoItem;
    std::size_t bestLength = 0;
    for (const ItemID id : last->Model().Ids()) {
        const tagFILEITEM* item = Items().Find(id);
        const auto [end, rest] = std::ranges::mismatch(item->spec, m_opening);
        const auto length = item->spec.native().size();
        if (item->isFolder != 0 && (end == item->spec.end() || end->empty()) && length > bestLength) {
            best = id;
            bestLength = length;
        }
    }
    // It may lie on a volume that is still to be listed.
    if (last == m_columns.front() && last->reading != 0 && bestLength <= 1)
        return;
    if (best == kNoItem) {
        EndOpening();
        return;
    }
    m_quiet = true;
    last->SelectOnly(best);
    m_quiet = false;
    const bool arrives = Items().Find(best)->spec == m_opening;
    OpenFolderOf(best);
    if (arrives)
        EndOpening();
}

void DiskBrowser::Leave(FolderColumn* column, int direction) {
    const std::size_t position = PositionOf(column);
    if (IsGrid()) {
        GoUp();
        return;
    }
    if (direction < 0 && position > 0)
        m_columns[position - 1]->setFocus();
    if (direction > 0 && position + 1 < m_columns.size()) {
        FolderColumn* next = m_columns[position + 1];
        next->setFocus();
        if (next->Selected().empty() && !next->Model().Ids().empty())
            next->SelectOnly(next->Model().Ids().front());
    }
}

// Of the grid's photographs that can be seen.
void DiskBrowser::WantThumbnails() {
    std::vector<PhotoFile> photos;
    FolderColumn* last = m_columns.empty() ? nullptr : m_columns.back();
    if (IsGrid() && last != nullptr && last->isVisible()) {
        m_shown.thumbnails.SetBox(last->ThumbnailPixels());
        for (const ItemID id : last->InView()) {
            const tagFILEITEM* item = Items().Find(id);
            if (item->isFolder == 0 && IsPictureName(item->name))
                photos.push_back({item->spec, item->size, item->modified});
        }
    }
    m_shown.thumbnails.Want(photos);
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

const std::vector<ItemID>& DiskBrowser::InOrder() const {
    static const std::vector<ItemID> none;
    return m_columns.empty() ? none : m_columns.back()->Model().Ids();
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
    const auto folder = m_shown.items.All().find(m_columns.back()->Folder());
    return folder == m_shown.items.All().end() ? Path() : folder->second.spec;
}

void DiskBrowser::ShowLastColumn() {
    QTimer::singleShot(0, this, [this] {
        QScrollBar* bar = m_area->horizontalScrollBar();
        bar->setValue(bar->maximum());
    });
}

}  // namespace lumato::app
