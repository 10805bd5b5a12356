// Binary archives: sections and texts of any bytes.
#include "fuzz/Fuzz.h"

#include "foundation/config/SectionArchive.h"

using namespace alidade;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CArchiveU archive(data, size);
    CProfileSection section;
    bool whole = false;
    try {
        LoadSection(archive, section);
        whole = true;
        for (;;) {
            archive.ReadString();
        }
    } catch (const CArchiveException&) {
    }
    if (whole) {
        CArchiveU stored;
        StoreSection(stored, section);
        CArchiveU again(stored.GetData().data(), stored.GetData().size());
        CProfileSection read;
        LoadSection(again, read);
        FUZZ_CHECK(read == section && again.GetRemaining() == 0);
    }
    return 0;
}
