// Checking what is on the frame, and mending it.
#include <QMessageBox>
#include <QPushButton>
#include <algorithm>

#include "app/parts/app_state.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "base/printable.h"
#include "picture/messages.h"
#include "picture/stream_made_anew.h"
#include "store/mend_pictures.h"
#include "store/messages.h"
#include "store/retry_history.h"

namespace lumato::app {
namespace {

using store::CheckReport;
using store::PictureHealth;

constexpr std::size_t kMostLines = 12;

std::ptrdiff_t CountOf(const CheckReport& report, PictureHealth health) {
    return std::ranges::count(report.pictures, health, &store::CheckedPicture::health);
}

// As beside a note, in plain words.
Phrase CountsOf(const CheckReport& report) {
    Phrase text;
    const auto add = [&](PictureHealth health, const Words& words) {
        if (const std::ptrdiff_t count = CountOf(report, health); count > 0)
            text = Joined(std::move(text), kComma, Phrase(words, count));
    };
    add(PictureHealth::Good, {"COUNT_GOOD", "{0} good"});
    add(PictureHealth::Damaged, {"COUNT_DAMAGED", "{0} damaged"});
    add(PictureHealth::Mended, {"COUNT_MENDED", "{0} mended"});
    add(PictureHealth::Unknown, {"COUNT_UNKNOWN", "{0} unknown"});
    const auto uneven = std::ranges::count(report.pictures, true, &store::CheckedPicture::readUneven);
    if (!report.table.good)
        text =
            Joined(std::move(text), kSemicolon, Phrase("TABLE_IS_DAMAGED", "the picture table is damaged"));
    if (uneven > 0 || report.table.readUneven)
        text = Joined(std::move(text), kSemicolon,
                      Phrase("READS_DIFFERED", "two reads differed: check the cable"));
    return Joined(std::move(text), kSemicolon, store::LinkWarning());
}

QString LinesOf(const CheckReport& report) {
    QStringList lines;
    if (!report.table.good)
        lines += Localized(About(Phrase("PICTURE_TABLE", "Picture table"), report.table.reason));
    for (const store::CheckedPicture& picture : report.pictures) {
        if (picture.health != PictureHealth::Damaged)
            continue;
        if (lines.size() == kMostLines) {
            lines += QStringLiteral("…");
            break;
        }
        lines += Localized(About(picture.position, picture.reason));
    }
    return lines.join(QLatin1Char('\n'));
}

bool CanMend(const CheckReport& report) {
    return (!report.table.good && report.table.known) ||
           std::ranges::any_of(report.pictures, [&](const store::CheckedPicture& picture) {
               return store::MayBeMended(report, picture);
           });
}

}  // namespace

void MainWindow::MakeCheckMenu(QMenu* menu) {
    m_menus->AddAction(menu, "FRAME_CHECK", "Check the Pictures…", {}, true, [this] { CheckPictures(); });
    m_checkAction = m_menus->AddAction(
        menu, "CHECK_DOWNLOADS", "Check after Each Download", {}, false,
        [this] { m_settings.SetBytes(kCheckSetting, m_checkAction->isChecked() ? "1" : "0"); });
    m_checkAction->setCheckable(true);
    m_checkAction->setChecked(m_settings.Bytes(kCheckSetting) == "1");
}

void MainWindow::CheckPictures() {
    if (!IsReady())
        return;
    auto report = std::make_shared<Result<CheckReport>>();
    const auto then = [this, report] {
        if (!*report)
            ShowNote("CHECK_FAILED_TIPS", "The pictures could not be checked", report->error().message);
        else if ((*report)->stopped)
            ShowNote("CHECK_FAILED_TIPS", "The pictures could not be checked",
                     About(picture::kStopped, CountsOf(**report)));
        else
            TakeCheck(**report, CanMend(**report));
    };
    if (RunTask(
            WindowState::Checking, [report] { *report = store::CheckPictures(); }, then))
        ShowNote("CHECKING_TIPS", "Checking the pictures");
}

void MainWindow::TakeCheck(const CheckReport& report, bool mayMend) {
    if (!report.table.good || CountOf(report, PictureHealth::Damaged) > 0) {
        ShowNote("CHECK_DAMAGED_TIPS", "Pictures are damaged", CountsOf(report));
        ShowDamaged(report, mayMend);
    } else if (report.table.mended || CountOf(report, PictureHealth::Mended) > 0) {
        ShowNote("MENDED_TIPS", "The damaged pictures are whole again", CountsOf(report));
    } else {
        ShowNote("CHECK_GOOD_TIPS", "No damaged pictures", CountsOf(report));
    }
}

void MainWindow::ShowDamaged(const CheckReport& report, bool mayMend) {
    auto* box =
        new QMessageBox(QMessageBox::Warning, windowTitle(),
                        Localized("CHECK_DAMAGED_TIPS", "Pictures are damaged"), QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(LinesOf(report));
    box->setTextFormat(Qt::PlainText);
    if (mayMend) {
        QPushButton* mend = box->addButton(Localized("MEND_BUTTON", "Mend"), QMessageBox::AcceptRole);
        connect(mend, &QPushButton::clicked, this, [this, report] { MendPictures(report); });
        box->addButton(Localized("CANCLE_BUTTON", "Cancel"), QMessageBox::RejectRole);
    } else {
        box->addButton(Localized("OK_BUTTON", "OK"), QMessageBox::AcceptRole);
    }
    Ask(box);
}

// Composing a picture anew takes the edit view's place, as a batch does.
void MainWindow::MendPictures(const CheckReport& report) {
    if (!IsReady())
        return;
    m_loader.Forget();
    ForgetEdits();
    picture::ReleaseSelection();
    store::Store().checkWritten = true;
    auto mended = std::make_shared<CheckReport>(report);
    auto found = std::make_shared<Result<int>>();
    const auto prepare = [mended, found] {
        *found = store::PrepareMending(*mended, picture::StreamMadeAnew);
        return found->value_or(0) > 0;
    };
    const auto done = [this, mended, found](bool written) {
        if (!*found)
            ShowNote("CHECK_FAILED_TIPS", "The pictures could not be checked", found->error().message);
        if (written)
            store::NoteMended(*mended);
        if (written || (*found && **found == 0))
            TakeCheck(*mended, false);
    };
    static_cast<void>(m_link.BeginDownload(done, prepare));
}

}  // namespace lumato::app
