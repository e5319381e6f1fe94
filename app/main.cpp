// lumato: the picture manager's window. This is the order of its start.
#include <QApplication>
#include <QCommandLineParser>
#include <QDeadlineTimer>
#include <QIcon>
#include <QMessageBox>
#include <QRegularExpression>
#include <QSet>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "app/frame/frame_menu.h"
#include "app/frame/usb_watch.h"
#include "app/parts/language_file.h"
#include "app/parts/loose_threads.h"
#include "app/parts/texts.h"
#include "app/shell/appearance.h"
#include "app/shell/carbon_app.h"
#include "app/shell/desktop.h"
#include "app/shell/first_window.h"
#include "app/shell/fusion_style.h"
#include "app/shell/main_window.h"
#include "base/diagnostics.h"
#include "base/printable.h"
#include "base/standard_descriptors.h"
#include "device/comm_usb.h"
#include "platform/linux/folder_lock.h"
#include "platform/linux/folders.h"
#include "platform/linux/mounted_volumes.h"
#include "report/report_log.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

struct Options {
    WindowOptions window;
    std::optional<Path> frame;
    QString action;  // of the program's entry on the desktop
};

// The command line without what Qt itself takes from it.
QStringList OwnArguments(const QStringList& arguments) {
    static const QSet<QString> kWithValue{"platform",      "platformpluginpath",
                                          "platformtheme", "plugin",
                                          "style",         "stylesheet",
                                          "qwindowtitle",  "title",
                                          "geometry",      "qwindowgeometry",
                                          "qwindowicon",   "icon",
                                          "session",       "display",
                                          "name"};
    static const QSet<QString> kAlone{"reverse", "widgetcount"};
    static const QRegularExpression kDashes(QStringLiteral("^--?"));
    QStringList own{arguments.front()};
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString name =
            arguments[i].startsWith(u'-') ? QString(arguments[i]).remove(kDashes) : QString();
        if (arguments[i] == QLatin1String("--"))
            return own + arguments.sliced(i);
        if (kWithValue.contains(name))
            ++i;
        else if (!kAlone.contains(name) && !kWithValue.contains(name.section(u'=', 0, 0)))
            own += arguments[i];
    }
    return own;
}

// Not every file's name is a text: the command line is read with a character for each byte.
Path PathGiven(const QString& argument) {
    return argument.toLatin1().toStdString();
}

// `why`: with a character for each byte, as the command line.
[[noreturn]] void Refuse(const QString& why) {
    std::fprintf(stderr, "lumato: %s\n", Printable(why.toLatin1().toStdString()).c_str());
    std::exit(2);
}

double PaceOf(const QString& text) {
    bool valid = false;
    const double pace = text.toDouble(&valid);
    if (!valid || !(pace > 0))
        Refuse(QStringLiteral("--pace: a number above 0 is wanted"));
    return pace;
}

// Ends the program where the command line makes no sense, or only asks. There need be no display for that.
Options ParseArguments(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Lumato manages the pictures of a USB digital photo frame."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption home(QStringLiteral("home"),
                                  QStringLiteral("the resources folder, instead of ~/.local/share/lumato"),
                                  QStringLiteral("DIR"));
    const QCommandLineOption frame(QStringLiteral("frame"),
                                   QStringLiteral("attach the virtual frame whose flash is FILE"),
                                   QStringLiteral("FILE"));
    const QCommandLineOption pace(
        QStringLiteral("pace"), QStringLiteral("virtual frames take as long as a real one, X times as fast"),
        QStringLiteral("X"));
    const QStringList actions = FrameMenu::Actions();
    const QCommandLineOption action(
        QStringLiteral("action"),
        QStringLiteral("choose this from the menu Frame: ") + actions.join(QStringLiteral(", ")),
        QStringLiteral("ACTION"));
    parser.addOptions({home, frame, action, pace});
    parser.addPositionalArgument(QStringLiteral("FILES"),
                                 QStringLiteral("pictures: one to edit, several to add"),
                                 QStringLiteral("[FILES...]"));
    QStringList arguments;
    std::transform(argv, argv + argc, std::back_inserter(arguments),
                   [](const char* given) { return QString::fromLatin1(given); });
    if (!parser.parse(OwnArguments(arguments)))
        Refuse(parser.errorText());
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();
    if (parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("help-all")))
        parser.showHelp();

    Options options;
    std::optional<Path> homeFolder;
    if (parser.isSet(home))
        homeFolder = PathGiven(parser.value(home));
    options.window.home = platform::ResourcesFolder(homeFolder);
    options.window.stateFolder = platform::StateFolder(homeFolder);
    if (parser.isSet(frame))
        options.frame = PathGiven(parser.value(frame));
    options.action = parser.value(action);
    if (parser.isSet(action) && !actions.contains(options.action))
        Refuse(QStringLiteral("--action: there is none of that name"));
    if (parser.isSet(pace))
        options.window.pace = PaceOf(parser.value(pace));
    const QStringList files = parser.positionalArguments();
    for (const QString& file : files) {
        std::error_code error;  // there is no name, or no folder that it is in
        const Path whole = std::filesystem::absolute(PathGiven(file), error);
        if (error)
            Refuse(file + QStringLiteral(": ") + QString::fromLatin1(error.message().c_str()));
        options.window.files.push_back(whole);
    }
    return options;
}

// The folders of the start: made where they are missing, and held against a second program.
Result<platform::FolderLock> TakeFolders(const WindowOptions& options) {
    std::error_code error;
    if (!std::filesystem::exists(options.home, error)) {
        LUMATO_TRY_VOID(MakePrivateFolder((options.home / "").parent_path()));
    }
    static_cast<void>(MakePrivateFolder(options.stateFolder));  // without it nothing is remembered
    return platform::FolderLock::Take(options.home);
}

void ConfigureApplication() {
    QGuiApplication::setApplicationDisplayName(QString());
    QGuiApplication::setDesktopFileName(QLatin1String(kApplicationId));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/lumato.svg")));
    QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
    FusionStyle::Install();
}

// Handed from the signal's handler to the event loop.
int signalPipe[2] = {-1, -1};

// Who asks for the third time does not want to wait for a disk that has gone.
volatile std::sig_atomic_t signalsTaken = 0;

extern "C" void TakeSignal(int signal) {
    signalsTaken = signalsTaken + 1;
    if (signalsTaken > 2) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
        return;
    }
    const int before = errno;  // of whatever is interrupted
    const char one = 1;
    [[maybe_unused]] const ssize_t full = write(signalPipe[1], &one, 1);  // then somebody asks already
    errno = before;
}

// Logging out and shutting down end programs by these: the window leaves in good order.
std::unique_ptr<QSocketNotifier> LeaveAtSignals(std::function<void()> leave) {
    if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return nullptr;
    auto notifier = std::make_unique<QSocketNotifier>(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [leave = std::move(leave)] {
        char one = 0;
        if (read(signalPipe[0], &one, 1) == 1)
            leave();
    });
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        if (std::signal(signal, TakeSignal) == SIG_IGN)
            std::signal(signal, SIG_IGN);  // whoever started the program wants it so
    }
    return notifier;
}

// Or hands what was asked for to the window that holds them. One that is just starting takes the folder
// first, and its name then; one that is leaving lets go of them soon.
std::optional<Result<platform::FolderLock>> TakeFoldersOrCall(const Options& options) {
    constexpr int patience = 2000, pause = 50;  // milliseconds
    QDeadlineTimer end(patience);
    for (;;) {
        auto lock = TakeFolders(options.window);
        if (lock || lock.error().kind != ErrorKind::Busy)
            return lock;
        const auto answer = FirstWindow::Call(options.window.home, options.window.files, options.action);
        if (answer == FirstWindow::Answer::Taken)
            return std::nullopt;
        if (answer == FirstWindow::Answer::Leaving)
            end.setRemainingTime(patience);
        else if (end.hasExpired())
            return lock;
        QThread::msleep(pause);
    }
}

int Run(Options options) {
    const auto taken = TakeFoldersOrCall(options);
    if (!taken)
        return 0;
    const Result<platform::FolderLock>& lock = *taken;
    const LanguageFile language(options.window.home / "Language.ini");
    if (lock)
        language.ProvideDefault();
    text::SetLanguageFile(options.window.home / "Language.ini");
    if (!lock) {
        QMessageBox::critical(nullptr, Localized("WINDOW_TITLE", "MacLumato"),
                              Localized(lock.error().message));
        return 1;
    }

    // Never destroyed: an unmount that nobody waits for may still be under way.
    static auto& volumes = *new platform::MountedVolumes;
    UsbWatch usb({.family = std::string(device::kFamily)});
    options.window.hardware = &usb;
    options.window.volumes = &volumes;
    std::unique_ptr<MainWindow> gMainWindowRef;
    int status = 0;
    {
        CarbonApp carbonApp([&] { gMainWindowRef->QuitApplication(); },
                            [&] { gMainWindowRef->CloseResource(); });
        const Path home = options.window.home;
        gMainWindowRef = std::make_unique<MainWindow>(std::move(options.window));
        const FirstWindow first(home, [&](std::vector<Path> files, const QString& action) {
            return gMainWindowRef->ComeForward(std::move(files), action);
        });
        const auto asked = LeaveAtSignals([&] { gMainWindowRef->LeaveUnasked(); });
        gMainWindowRef->show();
        QTimer::singleShot(0, gMainWindowRef.get(), [&] {
            gMainWindowRef->Start(options.frame);
            if (!options.action.isEmpty())
                gMainWindowRef->ComeForward({}, options.action);
        });
        status = carbonApp.Run();
    }
    return status;
}

}  // namespace
}  // namespace lumato::app

int main(int argc, char** argv) {
    lumato::OccupyStandardDescriptors();
    // A limit on file sizes is a failed write like any other, not the end.
    std::signal(SIGXFSZ, SIG_IGN);
    QCoreApplication::setApplicationName(QStringLiteral("lumato"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LUMATO_VERSION));
    lumato::app::Options options = lumato::app::ParseArguments(argc, argv);
    lumato::app::DrawWithoutOpenGl();
    const QApplication application(argc, argv);
    lumato::app::ConfigureApplication();
    lumato::report::ReportLog log("lumato", options.window.stateFolder,
                                  lumato::platform::LogFile::Folder::Make);
    log.Begin();
    lumato::Log(std::string("Qt ") + qVersion() + ", " + QGuiApplication::platformName().toStdString());
    options.window.keepTrace = [&log] { log.KeepTrace(); };
    const int status = lumato::app::Run(std::move(options));
    // A thread that still waits for a disk would outlive what it uses: then everything goes at once. What is
    // to be kept has been written.
    if (lumato::app::LooseThreads::AnyRun()) {
        log.End();
        std::_Exit(status);
    }
    return status;
}
