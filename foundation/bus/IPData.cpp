#include "foundation/bus/IPData.h"

#include "foundation/bus/data/BlockName.h"
#include "foundation/bus/data/BlockReader.h"
#include "foundation/bus/data/BlockValue.h"
#include "foundation/platform/Text.h"

namespace alidade {
namespace {

double ReadTextNumber(const T_SHARED_BLOCK& block, const T_SHARED_ITEM& item)
{
    const CStringA text = ReadBlockText(block, item);
    const std::optional<double> number = ToNumber(text);
    if (!number) {
        throw CIPException(L"CIPDataItemIterator", (L"\"" + ToWide(text) + L"\" is no number").c_str());
    }
    return *number;
}

std::uint64_t ReadNumberWord(const T_SHARED_BLOCK& block, const T_SHARED_ITEM& item)
{
    std::uint64_t word = 0;
    ReadWhole(block,
              [&](std::uint64_t copy) { word = LoadWord(item.first + copy, std::memory_order_acquire); });
    return word;
}

double ToDouble(const T_SHARED_ITEM& item, std::uint64_t word)
{
    return item.place.type == IPDATA_DOUBLE ? std::bit_cast<double>(word) : UnpackInt(word);
}

[[noreturn]] void ThrowNotUsable()
{
    throw CIPException(L"CIPDataItemIterator", L"The iterator stands on no item");
}

} // namespace

int CIPDataItemIterator::GetInt() const
{
    if (!IsUsable()) {
        ThrowNotUsable();
    }
    switch (m_item->place.type) {
    case IPDATA_INT:
        return UnpackInt(ReadNumberWord(*m_block, *m_item));
    case IPDATA_DOUBLE:
        return ToInt(ToDouble(*m_item, ReadNumberWord(*m_block, *m_item)));
    default:
        return ToInt(ReadTextNumber(*m_block, *m_item));
    }
}

double CIPDataItemIterator::GetDouble() const
{
    if (!IsUsable()) {
        ThrowNotUsable();
    }
    if (m_item->place.type == IPDATA_STRING) {
        return ReadTextNumber(*m_block, *m_item);
    }
    return ToDouble(*m_item, ReadNumberWord(*m_block, *m_item));
}

CStringA CIPDataItemIterator::GetString() const
{
    if (!IsUsable()) {
        ThrowNotUsable();
    }
    switch (m_item->place.type) {
    case IPDATA_INT:
        return std::to_string(UnpackInt(ReadNumberWord(*m_block, *m_item)));
    case IPDATA_DOUBLE:
        return ToText(ToDouble(*m_item, ReadNumberWord(*m_block, *m_item)));
    default:
        return ReadBlockText(*m_block, *m_item);
    }
}

void CIPDataItemIterator::Clear()
{
    m_block = nullptr;
    m_item = nullptr;
}

struct CIPData::T_IMPLEMENTATION {
    CString family;   // as constructed
    CStringA mapName; // of the open block
    CBlockReader block;
};

CIPData::CIPData(const wchar_t* family) : m_implementation(std::make_unique<T_IMPLEMENTATION>())
{
    m_implementation->family = family != nullptr ? family : L"";
}

CIPData::~CIPData() = default;

CStringA CIPData::MakeMapName(const char* blockName) const
{
    return MakeBlockMapName(GetBlockInstance(), m_implementation->family,
                            blockName != nullptr ? blockName : "");
}

bool CIPData::operator==(const CStringA& mapName) const
{
    return IsOpen() != 0 && m_implementation->mapName == mapName;
}

int CIPData::Open(const char* blockName, CString& text, const wchar_t* family)
{
    Close();
    if (blockName == nullptr || *blockName == '\0') {
        text = L"A shared block needs a name.";
        return 0;
    }
    const CStringA mapName = MakeBlockMapName(
        GetBlockInstance(), family != nullptr ? CString(family) : m_implementation->family, blockName);
    if (!m_implementation->block.Open(mapName, text)) {
        return 0;
    }
    m_implementation->mapName = mapName;
    return 1;
}

void CIPData::Close()
{
    m_implementation->block.Close();
    m_implementation->mapName.clear();
}

int CIPData::IsOpen() const
{
    return m_implementation->block.IsOpen() ? 1 : 0;
}

CIPDataItemIterator CIPData::GetDataItem(const char* variableName) const
{
    if (IsOpen() == 0) {
        throw CIPException(L"CIPData::GetDataItem", L"No shared block is open");
    }
    const CBlockReader& block = m_implementation->block;
    const int number = variableName != nullptr ? block.GetDirectory().Find(variableName) : -1;
    if (number < 0) {
        throw CIPException(L"CIPData::GetDataItem",
                           Format(L"%S has no variable \"%s\"", m_implementation->mapName.c_str(),
                                  ToWide(variableName != nullptr ? variableName : "").c_str())
                               .c_str());
    }
    return {&block.GetBlock(), &block.GetItem(number)};
}

std::vector<T_IP_DATA_ITEM> CIPData::ListItems() const
{
    return IsOpen() != 0 ? m_implementation->block.GetDirectory().GetItems() : std::vector<T_IP_DATA_ITEM>();
}

std::uint64_t CIPData::GetWriteCount() const
{
    return IsOpen() != 0 ? m_implementation->block.GetWriteCount() : 0;
}

int CIPData::IsWriterAlive() const
{
    return m_implementation->block.IsWriterAlive() ? 1 : 0;
}

std::uint64_t CIPData::ReadTogether(std::span<const CIPDataItemIterator> items, std::span<double> values)
{
    if (items.empty() || values.size() < items.size()) {
        throw CIPException(L"CIPData::ReadTogether", L"There is not a place for each value, or no item");
    }
    const T_SHARED_BLOCK* block = items[0].m_block;
    for (const CIPDataItemIterator& item : items) {
        if (!item.IsUsable()) {
            ThrowNotUsable();
        }
        if (item.m_block != block) {
            throw CIPException(L"CIPData::ReadTogether", L"The items are not of one block");
        }
        if (item.m_item->place.type == IPDATA_STRING) {
            throw CIPException(L"CIPData::ReadTogether", L"A text cannot be read together with numbers");
        }
    }
    return ReadWhole(*block, [&](std::uint64_t copy) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            const T_SHARED_ITEM& item = *items[i].m_item;
            values[i] = ToDouble(item, LoadWord(item.first + copy, std::memory_order_acquire));
        }
    });
}

} // namespace alidade
