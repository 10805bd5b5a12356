// Settings files: whatever the bytes, loading keeps within bounds, and what was read is what a save writes.
#include "fuzz/Fuzz.h"

#include "foundation/config/Profile.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"
#include "tests/support/SortedSection.h"

#include <unistd.h>

using namespace alidade;

namespace {

/// A change as a program makes one, at a place and with a text that the input decides.
void Change(CProfileSection& section, unsigned seed)
{
    const auto pick = [&seed](int count) {
        seed = seed * 1664525 + 1013904223;
        return static_cast<int>((seed >> 16) % static_cast<unsigned>(count));
    };
    CProfileSection* at = &section;
    // Not so deep that a file could not hold one more.
    for (int depth = 0; depth < 60 && at->m_sections.Count() > 0 && pick(3) != 0; ++depth) {
        at = at->m_sections.NodeAt(pick(at->m_sections.Count()))->item;
    }
    const CProfileItem* some =
        at->m_items.Count() > 0 ? at->m_items.NodeAt(pick(at->m_items.Count()))->item : nullptr;
    const CString text = some != nullptr ? some->m_strValue + L" \n=]" : L" &#10; ";
    switch (pick(5)) {
    case 0:
        at->SetItemValue(some != nullptr ? some->m_strKey.c_str() : L"k", text.c_str(), L"why");
        break;
    case 1:
        at->SetItemValue(text.c_str(), L"new");
        break;
    case 2:
        at->GetSubSection(text.c_str()).SetItemValue(L"", L"");
        break;
    case 3:
        at->m_items.Delete(0);
        break;
    default:
        at->m_sections.Delete(0);
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool isMemory = std::filesystem::exists("/dev/shm");
    static const CString path =
        (isMemory ? L"/dev/shm/" : L"/tmp/") + (L"alidade-fuzz-" + std::to_wstring(::getpid())) + L".ini";
    const std::filesystem::path file = ToPath(path);
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    ReplaceFileWith(file, bytes);
    CProfile profile(path.c_str());
    FUZZ_CHECK(profile.Load() == 1);
    unsigned seed = 0;
    for (const char c : bytes) {
        seed = seed * 31 + static_cast<unsigned char>(c);
    }
    for (int round = 0; round < 3; ++round) {
        FUZZ_CHECK(profile.Save() == 1);
        CProfile again(path.c_str());
        FUZZ_CHECK(again.Load() == 1);
        FUZZ_CHECK(again.GetFirstBadLine() == 0);
        FUZZ_CHECK(Sorted(again.GetRoot()) == Sorted(profile.GetRoot()));
        for (int n = 0; n < 4; ++n) {
            Change(const_cast<CProfileSection&>(profile.GetRoot()), seed++);
        }
    }
    std::filesystem::remove(path + L".bad");
    std::filesystem::remove(file);
    return 0;
}
