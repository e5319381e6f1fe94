// The first minutes with a frame, and the last resort: what it says of itself, who may use it, and the report
// for those who mend faults.
#include <QClipboard>
#include <QGuiApplication>
#include <QProcess>
#include <QStandardPaths>

#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "device/comm_usb.h"
#include "device/command_trace.h"
#include "platform/linux/usb_bus.h"
#include "report/frame_facts.h"
#include "report/make_report.h"
#include "report/trace_text.h"
#include "store/messages.h"
#include "store/room_left.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

constexpr const char* kPolkit = "pkexec";

QString Row(const QString& name, const QString& value) {
    return value.isEmpty() ? QString()
                           : QStringLiteral("<tr><td>%1</td><td>&nbsp;&nbsp;&nbsp;</td><td>%2</td></tr>")
                                 .arg(name.toHtmlEscaped(), value.toHtmlEscaped());
}

QString SizeText(int width, int height) {
    return QStringLiteral("%1 × %2").arg(width).arg(height);
}

}  // namespace

void MainWindow::MakeContactMenu(QMenu* frame) {
    m_factsAction = m_menus->AddAction(frame, "FRAME_FACTS", "About the Frame", QKeySequence("Ctrl+I"), false,
                                       [this] { ShowFrameFacts(); });
    m_permitAction = m_menus->AddAction(frame, "FRAME_PERMIT", "Allow the Use of Frames…", {}, false,
                                        [this] { PermitFrames(); });
    m_permitAction->setObjectName(QStringLiteral("permit"));
    m_permitAction->setVisible(false);
    connect(&m_link, &FrameLink::PermissionMissing, this, [this](bool missing) {
        m_permitAction->setVisible(false);
        if (!missing)
            return;
        // Without polkit the command in the note is all that helps.
        m_reports.Start([this]() -> LooseThreads::Outcome {
            return [this, found = !QStandardPaths::findExecutable(QLatin1String(kPolkit)).isEmpty()] {
                m_permitAction->setVisible(found && device::Link().Attached() == nullptr);
            };
        });
    });
}

void MainWindow::ShowFrameFacts() {
    const auto frame = device::Link().Attached();
    if (frame == nullptr || !MainThreadOwns())
        return;
    const store::StoreState& store = store::Store();
    const auto text = [](const std::string& value) { return QString::fromStdString(value); };
    ShowMessage(
        Localized("FRAME_FACTS", "About the Frame"),
        QStringLiteral("<table>") + Row(Localized("FACT_MODEL", "Model"), text(frame->Model().name)) +
            Row(Localized("FACT_FIRMWARE", "Firmware"), text(frame->Model().firmware)) +
            Row(Localized("FACT_DISPLAY", "Display"),
                SizeText(static_cast<int>(store.gmyLcdWidth), static_cast<int>(store.gmyLcdHeight))) +
            Row(Localized("FACT_FLASH", "Memory"), locale().formattedDataSize(store.G_FlashTotalSize)) +
            Row(Localized("FACT_FREE", "Free"), locale().formattedDataSize(store.TotolFlashSizeForPic)) +
            Row(QString(), Localized(store::RoomText())) + QStringLiteral("</table>"));
}

// The question for the password is polkit's own; where nobody asks it, the command is said.
void MainWindow::PermitFrames() {
    const QString program = FromPath(platform::PermitProgram());
    auto* process = new QProcess(this);
    const auto end = [this, process](bool done) {
        process->deleteLater();
        m_permitAction->setEnabled(true);
        m_permitAction->setVisible(!done);
        if (!done)
            ShowMessage(
                windowTitle(),
                Localized(Phrase("PERMIT_FAILED", "The permission was not given. This command gives it: {}",
                                 platform::PermitCommand())));
    };
    connect(process, &QProcess::finished, this, [end](int status, QProcess::ExitStatus exit) {
        end(exit == QProcess::NormalExit && status == 0);
    });
    connect(process, &QProcess::errorOccurred, this, [end](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end(false);
    });
    m_permitAction->setEnabled(false);
    process->setStandardInputFile(QProcess::nullDevice());
    process->start(QLatin1String(kPolkit),
                   {QStringLiteral("--disable-internal-agent"), program, QStringLiteral("permit")});
}

void MainWindow::CopyReport() {
    report::ReportParts parts{.program = "lumato",
                              .frame = "no frame is connected, or it is at work",
                              .trace = {},
                              .stateFolder = m_options.stateFolder};
    if (MainThreadOwns() && device::Link().Attached() != nullptr)
        parts.frame = report::FrameFacts().dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    m_reports.Start([this, parts]() mutable -> LooseThreads::Outcome {
        parts.trace = report::TraceText(device::Commands().Copy());
        const std::string text = report::MakeReport(parts);
        return [this, text] {
            QGuiApplication::clipboard()->setText(
                QString::fromUtf8(text.data(), static_cast<int>(text.size())));
            ShowMessage(Localized("HELP_REPORT", "Copy Report"),
                        Localized("REPORT_COPIED",
                                  "The report is on the clipboard. It names no picture and no person; look "
                                  "through it before you give it away."));
        };
    });
}

}  // namespace lumato::app
