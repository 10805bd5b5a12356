#include "foundation/platform/Interrupt.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/Strings.h"
#include "host/Display.h"
#include "host/HostOptions.h"
#include "host/RunHost.h"

#include <QApplication>
#include <cstdio>
#include <optional>

namespace {

/// One line on standard error, whatever the text holds.
int Fail(const alidade::T_HOST_FAILURE& failure)
{
    std::fprintf(stderr, "%s\n", alidade::FormatFailure(failure).c_str());
    return failure.status;
}

} // namespace

int main(int argc, char** argv)
{
    using namespace alidade;
    if (IsDisplayProbe()) {
        return RunDisplayProbe(argc, argv);
    }
    try {
        T_HOST_OPTIONS options;
        T_HOST_FAILURE failure;
        CStringA text;
        if (!ParseHostOptions(argc, argv, options, text, failure)) {
            return Fail(failure);
        }
        if (text.empty()) {
            std::optional<QApplication> application;
            if (options.eJob == eHOST_JOB::WINDOW) {
                CString note;
                ChooseDisplay(options.bHeadless, argv[0], note);
                if (!note.empty()) {
                    Fail({kExitOk, note});
                }
                application.emplace(argc, argv);
            }
            CInterrupt interrupt;
            if (!RunHost(options, interrupt.GetEvent(), text, failure)) {
                return Fail(failure);
            }
        }
        std::fputs(text.c_str(), stdout);
        return 0;
    } catch (...) {
        return Fail({kExitFailed, GetCurrentErrorMessage()});
    }
}
