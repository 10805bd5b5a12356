// Helpers for texts and paths, on any text.
#include "fuzz/Fuzz.h"

#include "foundation/platform/Text.h"
#include "foundation/utility/Path.h"
#include "foundation/utility/Strings.h"

using namespace alidade;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Two texts, parted by the first line break.
    const CString all = ToWide(std::string_view(reinterpret_cast<const char*>(data), size));
    const std::size_t end = std::min(all.find(L'\n'), all.size());
    const CString first = CString(all.substr(0, end).c_str());
    const CString second = CString(all.substr(std::min(end + 1, all.size())).c_str());

    TList<CString, int, int> captures;
    if (FilterString(first.c_str(), second.c_str(), captures) != 0) {
        FUZZ_CHECK(FilterString(first.c_str(), second.c_str(), captures, 1) != 0);
    }
    FUZZ_CHECK(FilterString(first.c_str(), L"*", captures) == 1 && *captures.Last() == first);

    std::vector<CString> pieces;
    SplitString(first.c_str(), L',', pieces);
    CString joined;
    for (const CString& piece : pieces) {
        joined += (&piece == &pieces.front() ? L"" : L",") + piece;
    }
    FUZZ_CHECK(joined == first);

    CString out;
    const int read =
        TranslateEscapeCharacters(first.c_str(), out, second.empty() ? L'\0' : second[0], second.c_str());
    FUZZ_CHECK(read >= 0 && static_cast<std::size_t>(read) <= first.size() && out.size() <= first.size());

    CString folder;
    CString name;
    CString extension;
    SplitPath(first.c_str(), folder, name, extension);
    FUZZ_CHECK((name + extension).find_first_of(L"/\\") == CString::npos);
    FUZZ_CHECK(first.ends_with(name + extension) && first.starts_with(folder));
    GetAbsolutePath(second.c_str(), first.c_str(), out);

    TList<CString, int, int> lines;
    MakeDataToHexForm(lines, data, size, static_cast<int>(second.size()) - 2, 1);
    return 0;
}
