#include "foundation/bus/IPDataWriter.h"

#include "foundation/bus/data/BlockName.h"
#include "foundation/bus/data/BlockWriter.h"

namespace alidade {

struct CIPDataWriter::T_IMPLEMENTATION {
    CString family;
    CBlockWriter block;
    int depth = 0; // of Begin

    bool IsItem(int item) const
    {
        return block.IsOpen() && item >= 0 &&
               static_cast<std::size_t>(item) < block.GetDirectory().GetItems().size();
    }
    /// After a value was set, or not.
    int Finish(bool set)
    {
        if (set && depth == 0) {
            block.Commit();
        }
        return set ? 1 : 0;
    }
};

CIPDataWriter::CIPDataWriter(const wchar_t* family) : m_implementation(std::make_unique<T_IMPLEMENTATION>())
{
    m_implementation->family = family != nullptr ? family : L"";
}

CIPDataWriter::~CIPDataWriter() = default;

int CIPDataWriter::Create(const char* blockName, std::span<const T_IP_DATA_ITEM> items, CString& text)
{
    if (blockName == nullptr || *blockName == '\0') {
        text = L"A shared block needs a name.";
        return 0;
    }
    const CStringA mapName = MakeBlockMapName(GetBlockInstance(), m_implementation->family, blockName);
    if (!m_implementation->block.Create(mapName, items, text)) {
        return 0;
    }
    m_implementation->depth = 0;
    return 1;
}

void CIPDataWriter::Close()
{
    m_implementation->block.Close();
    m_implementation->depth = 0;
}

int CIPDataWriter::IsOpen() const
{
    return m_implementation->block.IsOpen() ? 1 : 0;
}

int CIPDataWriter::FindItem(const char* path) const
{
    const bool canFind = m_implementation->block.IsOpen() && path != nullptr;
    return canFind ? m_implementation->block.GetDirectory().Find(path) : -1;
}

int CIPDataWriter::SetInt(int item, int value)
{
    return m_implementation->Finish(m_implementation->IsItem(item) &&
                                    m_implementation->block.SetInt(item, value));
}

int CIPDataWriter::SetDouble(int item, double value)
{
    return m_implementation->Finish(m_implementation->IsItem(item) &&
                                    m_implementation->block.SetDouble(item, value));
}

int CIPDataWriter::SetString(int item, const char* value)
{
    return m_implementation->Finish(m_implementation->IsItem(item) &&
                                    m_implementation->block.SetString(item, value != nullptr ? value : ""));
}

void CIPDataWriter::Begin()
{
    ++m_implementation->depth;
}

void CIPDataWriter::Commit()
{
    if (m_implementation->depth > 0 && --m_implementation->depth == 0) {
        m_implementation->block.Commit();
    }
}

} // namespace alidade
