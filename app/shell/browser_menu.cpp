// The menu that says how the browser shows the computer's folders. It is the one of the button beside the
// path, too.
#include <QActionGroup>

#include "app/shell/main_window.h"

namespace lumato::app {

void MainWindow::MakeBrowserMenu(QMenu* menu) {
    const auto add = [&](QActionGroup* group, const char* key, const char* text, bool checked,
                         std::function<void()> run) {
        QAction* action = m_menus->AddAction(menu, key, text, {}, false, std::move(run));
        action->setCheckable(true);
        action->setChecked(checked);
        group->addAction(action);
    };
    const auto show = [this](BrowserView view) {
        m_browser->SetView(view);
        m_settings.SetBytes(kBrowserViewSetting, view == BrowserView::Columns ? "columns" : "thumbnails");
    };
    const auto sort = [this](SortOrder order) {
        m_browser->SetOrder(order);
        m_settings.SetBytes(kBrowserOrderSetting, order == SortOrder::NewestFirst ? "newest" : "name");
    };
    const bool columns = m_settings.Bytes(kBrowserViewSetting) == "columns";
    const bool newest = m_settings.Bytes(kBrowserOrderSetting) == "newest";
    m_browser->SetView(columns ? BrowserView::Columns : BrowserView::Thumbnails);
    m_browser->SetOrder(newest ? SortOrder::NewestFirst : SortOrder::ByName);

    auto* views = new QActionGroup(menu);
    add(views, "VIEW_GRID", "Thumbnails", !columns, [show] { show(BrowserView::Thumbnails); });
    add(views, "VIEW_COLUMNS", "Columns", columns, [show] { show(BrowserView::Columns); });
    menu->addSeparator();
    auto* orders = new QActionGroup(menu);
    add(orders, "SORT_NAME", "By Name", !newest, [sort] { sort(SortOrder::ByName); });
    add(orders, "SORT_DATE", "Newest First", newest, [sort] { sort(SortOrder::NewestFirst); });
    menu->addSeparator();
    m_menus->AddAction(menu, "GO_TO_FOLDER", "Go to Folder…", QKeySequence("F6"), true,
                       [this] { m_browser->EditPath(); });
    m_menus->AddAction(menu, "GO_UP", "Parent Folder", {}, true, [this] { m_browser->GoUp(); });
    m_menus->AddAction(menu, "VIEW_REFRESH", "Refresh", QKeySequence("F5"), true,
                       [this] { m_browser->Refresh(); });
    m_browser->SetMenu(menu);
}

}  // namespace lumato::app
