#include "foundation/bus/data/BlockWriter.h"

#include "foundation/bus/data/BlockValue.h"
#include "foundation/platform/Text.h"

namespace alidade {

CBlockWriter::~CBlockWriter()
{
    Close();
}

bool CBlockWriter::Create(const CStringA& mapName, std::span<const T_IP_DATA_ITEM> items, CString& text)
{
    CBlockDirectory directory;
    CBlockMemory memory;
    if (!directory.Plan(items, text) || !memory.Create(mapName, directory.GetBlockSize(), text)) {
        return false;
    }
    directory.Write(memory.GetData());
    Close();
    m_memory = std::move(memory);
    m_directory = std::move(directory);
    m_words.assign(m_directory.GetWordsPerCopy(), 0);
    m_changes.assign(m_directory.GetItems().size(), {});
    m_latest = -1;
    m_writes = 0;
    return true;
}

void CBlockWriter::Close()
{
    if (m_memory.IsOpen()) {
        auto* header = reinterpret_cast<T_BLOCK_HEADER*>(m_memory.GetData());
        std::atomic_ref<std::uint32_t>(header->state).store(BLOCK_CLOSED, std::memory_order_release);
        m_memory.Close();
    }
}

bool CBlockWriter::SetInt(int item, int value)
{
    switch (m_directory.GetPlaces()[static_cast<std::size_t>(item)].type) {
    case IPDATA_INT:
        SetWord(item, PackInt(value));
        return true;
    case IPDATA_DOUBLE:
        SetWord(item, std::bit_cast<std::uint64_t>(static_cast<double>(value)));
        return true;
    default:
        return SetText(item, std::to_string(value));
    }
}

bool CBlockWriter::SetDouble(int item, double value)
{
    switch (m_directory.GetPlaces()[static_cast<std::size_t>(item)].type) {
    case IPDATA_INT:
        SetWord(item, PackInt(ToInt(value)));
        return true;
    case IPDATA_DOUBLE:
        SetWord(item, std::bit_cast<std::uint64_t>(value));
        return true;
    default:
        return SetText(item, ToText(value));
    }
}

bool CBlockWriter::SetString(int item, std::string_view text)
{
    const CBlockDirectory::T_PLACE& place = m_directory.GetPlaces()[static_cast<std::size_t>(item)];
    if (place.type != IPDATA_STRING) {
        const std::optional<double> number = ToNumber(text);
        return number && SetDouble(item, *number);
    }
    return IsValidUtf8(text) && SetText(item, CutText(text, place.capacity));
}

bool CBlockWriter::SetText(int item, std::string_view text)
{
    const CBlockDirectory::T_PLACE& place = m_directory.GetPlaces()[static_cast<std::size_t>(item)];
    if (text.size() > place.capacity) {
        return false;
    }
    std::uint64_t* words = m_words.data() + place.word;
    std::fill_n(words, GetValueWords(place.type, place.capacity), 0);
    words[0] = text.size();
    std::memcpy(words + 1, text.data(), text.size());
    Touch(item);
    return true;
}

void CBlockWriter::SetWord(int item, std::uint64_t word)
{
    m_words[m_directory.GetPlaces()[static_cast<std::size_t>(item)].word] = word;
    Touch(item);
}

void CBlockWriter::SetWords(std::span<const std::uint64_t> words)
{
    for (std::size_t i = 0; i < m_directory.GetPlaces().size(); ++i) {
        const CBlockDirectory::T_PLACE& place = m_directory.GetPlaces()[i];
        const auto value = words.subspan(place.word, GetValueWords(place.type, place.capacity));
        if (!std::equal(value.begin(), value.end(), m_words.data() + place.word)) {
            std::copy(value.begin(), value.end(), m_words.data() + place.word);
            Touch(static_cast<int>(i));
        }
    }
}

/// Moves the item to the head of the list of changes.
void CBlockWriter::Touch(int item)
{
    T_CHANGE& change = m_changes[static_cast<std::size_t>(item)];
    const bool listed = change.write != 0;
    change.write = m_writes + 1;
    if (m_latest == item) {
        return;
    }
    if (listed) {
        m_changes[static_cast<std::size_t>(change.previous)].next = change.next;
        if (change.next >= 0) {
            m_changes[static_cast<std::size_t>(change.next)].previous = change.previous;
        }
    }
    change.previous = -1;
    change.next = m_latest;
    if (m_latest >= 0) {
        m_changes[static_cast<std::size_t>(m_latest)].previous = item;
    }
    m_latest = item;
}

void CBlockWriter::Commit()
{
    if (!m_memory.IsOpen() || m_latest < 0 ||
        m_changes[static_cast<std::size_t>(m_latest)].write != m_writes + 1) {
        return;
    }
    const std::uint64_t write = m_writes + 1;
    const T_BLOCK_HEADER& layout = m_directory.GetHeader();
    auto* copy = reinterpret_cast<std::uint64_t*>(m_memory.GetData() + layout.valuesOffset) +
                 (write & (layout.copies - 1)) * m_directory.GetWordsPerCopy();
    // This copy holds the values as they were that many writes ago.
    for (int item = m_latest; item >= 0; item = m_changes[static_cast<std::size_t>(item)].next) {
        if (m_changes[static_cast<std::size_t>(item)].write + layout.copies <= write) {
            break;
        }
        const CBlockDirectory::T_PLACE& place = m_directory.GetPlaces()[static_cast<std::size_t>(item)];
        const std::uint64_t end = place.word + GetValueWords(place.type, place.capacity);
        for (std::uint64_t word = place.word; word < end; ++word) {
            // A reader that sees it also sees, at its second look, how far the sequence was before.
            std::atomic_ref<std::uint64_t>(copy[word]).store(m_words[word], std::memory_order_release);
        }
    }
    auto* header = reinterpret_cast<T_BLOCK_HEADER*>(m_memory.GetData());
    std::atomic_ref<std::uint64_t>(header->sequence).store(write, std::memory_order_release);
    m_writes = write;
}

} // namespace alidade
