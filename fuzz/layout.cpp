// Layout files of any bytes: reading keeps within the bounds, and what was read is stored and read back the
// same.
#include "fuzz/Fuzz.h"

#include "layout/LayoutArchive.h"

using namespace alidade;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CArchiveU archive(data, size);
    CCameraLayoutItem item;
    CArchiveU stored;
    bool whole = false;
    try {
        LoadLayout(archive, item);
        whole = true;
    } catch (const CArchiveException&) {
        // What was read up to there is a layout too, unless it broke off at a bound.
    }
    try {
        StoreLayout(stored, item);
    } catch (const CArchiveException&) {
        FUZZ_CHECK(!whole);
        return 0;
    }
    CArchiveU again(stored.GetData().data(), stored.GetData().size());
    CCameraLayoutItem read;
    T_LAYOUT_FILE_REPORT report;
    FUZZ_CHECK(LoadLayout(again, read, &report) == LAYOUT_FILE_READ && report.oddity.empty());
    CArchiveU twice;
    StoreLayout(twice, CCameraLayoutItem(read));
    FUZZ_CHECK(twice.GetData() == stored.GetData());
    return 0;
}
