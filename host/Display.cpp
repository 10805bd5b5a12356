#include "host/Display.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QProcess>
#include <cstdio>
#include <cstdlib>

namespace alidade {
namespace {

constexpr const char* kPlatform = "QT_QPA_PLATFORM";
constexpr const char* kInMemory = "offscreen";
constexpr const char* kProbe = "ALIDADE_DISPLAY_PROBE";
constexpr int kProbeTime = 20000; // ms

/// Whether another process can make an application object.
bool Probe(const CStringA& program)
{
    int argc = 1;
    CStringA name = program;
    char* argv[] = {name.data(), nullptr};
    QCoreApplication application(argc, argv); // finds the program's file and serves the process
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QLatin1String(kProbe), QStringLiteral("1"));
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationFilePath(), {});
    if (!process.waitForFinished(kProbeTime)) {
        process.kill();
        process.waitForFinished(kProbeTime);
        return false;
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

/// What would abort ends the process without a core file.
void EndOnFatal(QtMsgType type, const QMessageLogContext&, const QString&)
{
    if (type == QtFatalMsg) {
        std::_Exit(1);
    }
}

/// Hints to developers are no business of whoever reads standard error.
void ShowFailures(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtCriticalMsg || type == QtFatalMsg) {
        std::fprintf(stderr, "alidade-host: %s\n", message.toUtf8().constData());
    }
}

} // namespace

void ChooseDisplay(bool headless, const CStringA& program, CString& note)
{
    qInstallMessageHandler(ShowFailures);
    if (headless) {
        qputenv(kPlatform, kInMemory);
        return;
    }
    const QByteArray platform = qgetenv(kPlatform);
    if (platform == kInMemory) {
        return;
    }
    const bool none = platform.isEmpty() && QSysInfo::kernelType() == QLatin1String("linux") &&
                      !qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
    if (none || !Probe(program)) {
        qputenv(kPlatform, kInMemory);
        note = L"there is no display; going on without one";
    }
}

bool IsDisplayProbe()
{
    return qEnvironmentVariableIsSet(kProbe);
}

int RunDisplayProbe(int argc, char** argv)
{
    qInstallMessageHandler(EndOnFatal);
    const QGuiApplication application(argc, argv);
    return 0;
}

bool IsDisplayInMemory()
{
    return QGuiApplication::platformName() == QLatin1String(kInMemory);
}

} // namespace alidade
