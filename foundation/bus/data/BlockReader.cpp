#include "foundation/bus/data/BlockReader.h"

#include "foundation/platform/Text.h"

namespace alidade {

bool CBlockReader::Open(const CStringA& mapName, CString& text)
{
    CBlockMemory memory;
    CBlockDirectory directory;
    CString reason;
    if (!memory.Open(mapName, text)) {
        return false;
    }
    if (!directory.Read(memory.GetData(), memory.GetSize(), reason)) {
        text = Format(L"%S cannot be read: %s.", mapName.c_str(), reason.c_str());
        return false;
    }
    // Its name goes a moment later: who sees that the writer has gone does not find the old block again.
    if (LoadState(reinterpret_cast<const T_BLOCK_HEADER*>(memory.GetData())) == BLOCK_CLOSED) {
        text = Format(L"%S has been taken down by its writer.", mapName.c_str());
        return false;
    }
    Close();
    m_memory = std::move(memory);
    m_directory = std::move(directory);
    Use(m_memory.GetData());
    return true;
}

bool CBlockReader::OpenMemory(const std::byte* data, std::size_t size, CString& text)
{
    CBlockDirectory directory;
    if (!directory.Read(data, size, text)) {
        return false;
    }
    Close();
    m_directory = std::move(directory);
    Use(data);
    return true;
}

void CBlockReader::Use(const std::byte* data)
{
    const T_BLOCK_HEADER& header = m_directory.GetHeader();
    m_header = reinterpret_cast<const T_BLOCK_HEADER*>(data);
    m_block.sequence = &m_header->sequence;
    m_block.copyMask = header.copies - 1;
    m_block.copyWords = header.valuesSize / 8;
    m_block.grace = header.copies - 2;
    const auto* values = reinterpret_cast<const std::uint64_t*>(data + header.valuesOffset);
    m_items.clear();
    for (const CBlockDirectory::T_PLACE& place : m_directory.GetPlaces()) {
        m_items.push_back({values + place.word, place});
    }
}

void CBlockReader::Close()
{
    m_header = nullptr;
    m_items.clear();
    m_directory = {};
    m_memory.Close();
}

bool CBlockReader::IsWriterAlive() const
{
    return m_header != nullptr && LoadState(m_header) == BLOCK_OPEN && m_memory.HasWriter();
}

std::uint64_t CBlockReader::ReadAll(std::vector<std::uint64_t>& words) const
{
    words.resize(m_block.copyWords);
    const std::uint64_t* first = m_items.front().first - m_items.front().place.word;
    return ReadWhole(m_block, [&](std::uint64_t copy) {
        for (std::size_t i = 0; i < words.size(); ++i) {
            words[i] = LoadWord(first + copy + i, std::memory_order_acquire);
        }
    });
}

CStringA ReadBlockText(const T_SHARED_BLOCK& block, const T_SHARED_ITEM& item)
{
    CStringA text;
    std::uint64_t length = 0;
    ReadWhole(block, [&](std::uint64_t copy) {
        const std::uint64_t* words = item.first + copy;
        length = LoadWord(words, std::memory_order_acquire);
        text.resize(std::min<std::uint64_t>(length, item.place.capacity));
        for (std::size_t at = 0; at < text.size(); at += 8) {
            const std::uint64_t word = LoadWord(++words, std::memory_order_acquire);
            std::memcpy(text.data() + at, &word, std::min<std::size_t>(8, text.size() - at));
        }
    });
    if (length > item.place.capacity || !IsValidUtf8(text)) {
        throw CIPException(L"CIPDataItemIterator", L"The shared block is damaged: an item holds no text");
    }
    return text;
}

void ThrowOvertaken()
{
    throw CIPException(L"CIPData", L"The writer overtakes the reader at each attempt to read whole values");
}

} // namespace alidade
