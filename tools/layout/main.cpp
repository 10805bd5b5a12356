// alidade-layout: shows layout files as JSON, makes them from JSON, and checks them.

#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"
#include "layout/LayoutArchive.h"
#include "tools/layout/LayoutJson.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

namespace {

using namespace alidade;

constexpr int kExitBad = 1;
constexpr int kExitUsage = 2;

int Complain(const std::string& file, const std::string& text)
{
    std::fprintf(stderr, "alidade-layout: %s: %s\n", file.c_str(), text.c_str());
    return kExitBad;
}

std::filesystem::path PathOf(const std::string& file)
{
    return ToPath(ToWide(file));
}

/// @return true, or false with the reason in `error`
bool ReadLayout(const std::string& file, CCameraLayoutItem& item, T_LAYOUT_FILE_REPORT& report,
                std::string& error)
{
    CStringA bytes;
    CString text;
    if (ReadWholeFile(PathOf(file), bytes, &text, kMaxLayoutBytes) == 0) {
        error = ToNarrow(text);
        return false;
    }
    CArchiveU archive(bytes.data(), bytes.size());
    try {
        switch (LoadLayout(archive, item, &report)) {
        case LAYOUT_FILE_FOREIGN:
            error = "no layout file: it does not begin with \"CL\"";
            return false;
        case LAYOUT_FILE_OTHER_VERSION:
            error = "file version " + std::to_string(report.fileVersion) + " is not known";
            return false;
        case LAYOUT_FILE_READ:
            break;
        }
        return true;
    } catch (const CArchiveException& exception) {
        error = "byte " + std::to_string(bytes.size() - archive.GetRemaining()) + " of " +
                std::to_string(bytes.size()) + ": " + exception.what();
        if (!report.oddity.empty()) {
            error += "; " + report.oddity;
        }
        return false;
    }
}

int Show(const std::string& file)
{
    CCameraLayoutItem item;
    T_LAYOUT_FILE_REPORT report;
    std::string error;
    if (!ReadLayout(file, item, report, error)) {
        return Complain(file, error);
    }
    const CStringA json = LayoutToJson(item);
    const bool written =
        std::fwrite(json.data(), 1, json.size(), stdout) == json.size() && std::fflush(stdout) == 0;
    if (!report.oddity.empty()) {
        Complain(file, "note: " + report.oddity);
    }
    return written ? 0 : Complain("standard output", "cannot be written");
}

int Make(const std::string& jsonFile, const std::string& file)
{
    CStringA json;
    CString text;
    if (ReadWholeFile(PathOf(jsonFile), json, &text) == 0) {
        return Complain(jsonFile, ToNarrow(text));
    }
    CArchiveU archive;
    try {
        StoreLayout(archive, LayoutFromJson(json));
    } catch (const std::exception& exception) {
        return Complain(jsonFile, exception.what());
    }
    return ReplaceFileWith(PathOf(file), archive.GetData(), &text) != 0 ? 0 : Complain(file, ToNarrow(text));
}

int Check(const std::string& file)
{
    CCameraLayoutItem item;
    T_LAYOUT_FILE_REPORT report;
    std::string error;
    if (!ReadLayout(file, item, report, error)) {
        return Complain(file, error);
    }
    if (!report.oddity.empty()) {
        return Complain(file, report.oddity);
    }
    std::printf("%s: good; nodes %d, cameras %d, depth %d, of the older generation %d\n", file.c_str(),
                report.nodes, report.cameras, report.depth, report.oldNodes);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Shows layout files as JSON, makes them from JSON, and checks them");
    std::string file;
    std::string jsonFile;
    CLI::App* show = app.add_subcommand("show", "Print a layout file as JSON");
    CLI::App* make = app.add_subcommand("make", "Make a layout file from JSON");
    CLI::App* check = app.add_subcommand("check", "Tell whether a layout file is whole");
    app.require_subcommand(1);
    make->add_option("json", jsonFile, "JSON file to read")->required();
    for (CLI::App* command : {show, make, check}) {
        command->add_option("file", file, "Layout file")->required();
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kExitUsage;
    }
    try {
        return show->parsed() ? Show(file) : make->parsed() ? Make(jsonFile, file) : Check(file);
    } catch (const std::exception& error) {
        return Complain(file, error.what());
    }
}
