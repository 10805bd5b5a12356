#include "foundation/platform/Interrupt.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/Strings.h"
#include "tools/cmd/RunCmd.h"

#include <cstdio>

int main(int argc, char** argv)
{
    using namespace alidade;
    try {
        T_CMD_OPTIONS options;
        std::string text;
        CString error;
        if (!ParseCmdOptions(argc, argv, options, text, error)) {
            return FailCmd(CMD_WRONG_USE, error);
        }
        if (!text.empty()) {
            std::fputs(text.c_str(), stdout);
            return CMD_DONE;
        }
        CInterrupt interrupt;
        return options.what == T_CMD_OPTIONS::eWHAT::WATCH ? RunWatch(options, interrupt.GetEvent())
                                                           : RunCmd(options, interrupt.GetEvent());
    } catch (...) {
        return FailCmd(CMD_FAILED, GetCurrentErrorMessage());
    }
}
