#include "foundation/bus/data/BlockDirectory.h"

#include "foundation/platform/Text.h"

namespace alidade {
namespace {

constexpr std::uint64_t kLine = 64; // bytes of a cache line

constexpr std::uint64_t RoundUp(std::uint64_t value, std::uint64_t unit)
{
    return (value + unit - 1) / unit * unit;
}

bool Fail(CString& text, CString reason)
{
    text = std::move(reason);
    return false;
}

/// What holds for an item wherever it comes from.
bool CheckItem(std::size_t number, std::string_view path, std::uint32_t type, std::uint32_t capacity,
               CString& text)
{
    const auto fail = [&](const wchar_t* reason) {
        return Fail(text, Format(L"item %u %s", static_cast<unsigned>(number), reason));
    };
    if (path.empty() || path.size() > kMostPathBytes) {
        return fail(L"has no path, or one that is too long");
    }
    if (path.find('\0') != path.npos || !IsValidUtf8(path)) {
        return fail(L"has a path that is not UTF-8");
    }
    if (type != IPDATA_INT && type != IPDATA_DOUBLE && type != IPDATA_STRING) {
        return fail(Format(L"is of the unknown type %u", type).c_str());
    }
    if (type == IPDATA_STRING && (capacity == 0 || capacity > kMostTextBytes)) {
        return fail(Format(L"is a text with room for %u bytes; 1 to %u are allowed", capacity, kMostTextBytes)
                        .c_str());
    }
    return true;
}

} // namespace

bool CBlockDirectory::Plan(std::span<const T_IP_DATA_ITEM> items, CString& text)
{
    if (items.empty() || items.size() > kMostBlockItems) {
        return Fail(text, Format(L"A block has 1 to %u items, not %llu.", kMostBlockItems,
                                 static_cast<unsigned long long>(items.size())));
    }
    CBlockDirectory plan;
    std::uint64_t words = 0;
    std::uint64_t names = 0;
    for (const T_IP_DATA_ITEM& item : items) {
        CString reason;
        if (!CheckItem(plan.m_items.size(), item.path, item.type, item.capacity, reason)) {
            return Fail(text, L"The block cannot be made: " + reason + L".");
        }
        const std::uint32_t capacity = item.type == IPDATA_STRING ? item.capacity : 0;
        plan.m_items.push_back({item.path, item.type, capacity});
        plan.m_places.push_back({words, item.type, capacity});
        words += GetValueWords(item.type, capacity);
        names += item.path.size() + 1;
    }
    CString reason;
    if (!plan.IndexPaths(reason)) {
        return Fail(text, L"The block cannot be made: " + reason + L".");
    }
    T_BLOCK_HEADER& header = plan.m_header;
    header.magic = kBlockMagic;
    header.version = kBlockVersion;
    header.headerSize = sizeof(T_BLOCK_HEADER);
    header.itemCount = static_cast<std::uint32_t>(items.size());
    header.copies = kBlockCopies;
    header.directoryOffset = sizeof(T_BLOCK_HEADER);
    header.namesOffset = header.directoryOffset + items.size() * sizeof(T_BLOCK_ENTRY);
    header.namesSize = RoundUp(names, 8);
    header.valuesOffset = RoundUp(header.namesOffset + header.namesSize, kLine);
    header.valuesSize = RoundUp(words * 8, kLine);
    header.blockSize = header.valuesOffset + header.valuesSize * header.copies;
    header.state = BLOCK_OPEN;
    if (header.blockSize > kMostBlockBytes) {
        return Fail(text, Format(L"The block would take %llu bytes; %llu are allowed.",
                                 static_cast<unsigned long long>(header.blockSize),
                                 static_cast<unsigned long long>(kMostBlockBytes)));
    }
    *this = std::move(plan);
    return true;
}

bool CBlockDirectory::Read(const std::byte* data, std::size_t size, CString& text)
{
    if (size < sizeof(T_BLOCK_HEADER)) {
        return Fail(text, L"it is too short for a shared block");
    }
    const std::uint64_t magic =
        LoadWord(reinterpret_cast<const std::uint64_t*>(data), std::memory_order_acquire);
    if (magic == 0) {
        return Fail(text, L"it is still being made, or its writer died while making it");
    }
    if (magic != kBlockMagic) {
        return Fail(text, L"it is no shared block");
    }
    CBlockDirectory read;
    T_BLOCK_HEADER& header = read.m_header;
    LoadBytes(data, &header, sizeof(header));
    if (header.version != kBlockVersion) {
        return Fail(text, Format(header.version > kBlockVersion
                                     ? L"it is of version %u, newer than version %u, which this program reads"
                                     : L"it is of version %u; this program reads version %u",
                                 header.version, kBlockVersion));
    }
    if (header.blockSize > size) {
        return Fail(text, Format(L"it is cut short: %llu of %llu bytes are there",
                                 static_cast<unsigned long long>(size),
                                 static_cast<unsigned long long>(header.blockSize)));
    }
    // In order, without gaps that matter, and within; no sum can overflow, since each part is held below the
    // block's size, which is real memory, before it is added.
    const std::uint64_t most = header.blockSize;
    if (header.headerSize != sizeof(T_BLOCK_HEADER) || header.itemCount == 0 ||
        header.itemCount > kMostBlockItems || header.directoryOffset != sizeof(T_BLOCK_HEADER) ||
        header.namesOffset != header.directoryOffset + header.itemCount * sizeof(T_BLOCK_ENTRY) ||
        header.namesOffset > most || header.namesSize > most - header.namesOffset ||
        header.namesSize % 8 != 0) {
        return Fail(text, L"it is damaged: its directory does not fit into it");
    }
    if (header.copies < 2 || header.copies > kMostBlockCopies || !std::has_single_bit(header.copies) ||
        header.valuesOffset % 8 != 0 || header.valuesSize % 8 != 0 ||
        header.valuesOffset < header.namesOffset + header.namesSize || header.valuesOffset > most ||
        header.valuesSize > (most - header.valuesOffset) / header.copies) {
        return Fail(text, L"it is damaged: its values do not fit into it");
    }
    CString reason;
    if (!read.ReadEntries(data, reason) || !read.IndexPaths(reason)) {
        return Fail(text, L"it is damaged: " + reason);
    }
    *this = std::move(read);
    return true;
}

bool CBlockDirectory::ReadEntries(const std::byte* data, CString& text)
{
    std::vector<T_BLOCK_ENTRY> entries(m_header.itemCount);
    std::vector<char> names(static_cast<std::size_t>(m_header.namesSize));
    LoadBytes(data + m_header.directoryOffset, entries.data(), entries.size() * sizeof(T_BLOCK_ENTRY));
    LoadBytes(data + m_header.namesOffset, names.data(), names.size());
    std::uint64_t nextName = 0;
    std::uint64_t nextWord = 0;
    for (const T_BLOCK_ENTRY& entry : entries) {
        const std::size_t number = m_items.size();
        const auto fail = [&](const wchar_t* reason) {
            return Fail(text, Format(L"item %u %s", static_cast<unsigned>(number), reason));
        };
        // One after the other, so that nothing overlaps.
        if (entry.nameOffset < nextName || entry.nameOffset >= names.size() ||
            entry.nameLength >= names.size() - entry.nameOffset ||
            names[entry.nameOffset + entry.nameLength] != '\0') {
            return fail(L"has a path that lies outside, overlaps another, or does not end");
        }
        nextName = std::uint64_t{entry.nameOffset} + entry.nameLength + 1;
        const std::string_view path(names.data() + entry.nameOffset, entry.nameLength);
        if (!CheckItem(number, path, entry.type, entry.capacity, text)) {
            return false;
        }
        const std::uint64_t words = GetValueWords(entry.type, entry.capacity);
        if (entry.valueOffset % 8 != 0 || entry.valueOffset / 8 < nextWord ||
            entry.valueOffset / 8 > GetWordsPerCopy() || words > GetWordsPerCopy() - entry.valueOffset / 8) {
            return fail(L"has a value that lies outside or overlaps another");
        }
        nextWord = entry.valueOffset / 8 + words;
        m_items.push_back({CStringA(path), static_cast<eIP_DATA_TYPE>(entry.type), entry.capacity});
        m_places.push_back({entry.valueOffset / 8, entry.type, entry.capacity});
    }
    return true;
}

bool CBlockDirectory::IndexPaths(CString& text)
{
    m_index.reserve(m_items.size());
    for (const T_IP_DATA_ITEM& item : m_items) {
        if (!m_index.emplace(item.path, static_cast<int>(m_index.size())).second) {
            return Fail(text, Format(L"there are two items with the path %S", item.path.c_str()));
        }
    }
    return true;
}

void CBlockDirectory::Write(std::byte* data) const
{
    std::vector<T_BLOCK_ENTRY> entries;
    CStringA names;
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        entries.push_back({m_items[i].type, m_items[i].capacity, static_cast<std::uint32_t>(names.size()),
                           static_cast<std::uint32_t>(m_items[i].path.size()), m_places[i].word * 8});
        names += m_items[i].path;
        names += '\0';
    }
    T_BLOCK_HEADER header = m_header;
    header.magic = 0;
    std::memcpy(data, &header, sizeof(header));
    std::memcpy(data + header.directoryOffset, entries.data(), entries.size() * sizeof(T_BLOCK_ENTRY));
    std::memcpy(data + header.namesOffset, names.data(), names.size());
    std::atomic_ref<std::uint64_t>(*reinterpret_cast<std::uint64_t*>(data))
        .store(kBlockMagic, std::memory_order_release);
}

int CBlockDirectory::Find(std::string_view path) const
{
    const auto found = m_index.find(path);
    return found == m_index.end() ? -1 : found->second;
}

} // namespace alidade
