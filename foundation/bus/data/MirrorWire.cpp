#include "foundation/bus/data/MirrorWire.h"

#include "foundation/platform/Text.h"

namespace alidade {
namespace {

constexpr std::uint32_t kMagic = 0x4D424C41; // "ALBM"
constexpr std::uint16_t kVersion = 1;

void WriteHead(CArchiveU& archive, const T_MIRROR_HEAD& head)
{
    archive.Write(kMagic);
    archive.Write(kVersion);
    archive.Write<std::uint16_t>(head.kind);
    archive.Write(head.source);
    archive.Write(head.run);
}

void WriteText(CArchiveU& archive, std::string_view text)
{
    archive.Write(static_cast<std::uint32_t>(text.size()));
    archive.WriteBytes(text.data(), text.size());
}

CStringA ReadText(CArchiveU& archive, std::uint32_t most)
{
    const auto size = archive.Read<std::uint32_t>();
    if (size > most || size > archive.GetRemaining()) {
        throw CArchiveException("a text is too long");
    }
    CStringA text(size, '\0');
    archive.ReadBytes(text.data(), text.size());
    if (!IsValidUtf8(text)) {
        throw CArchiveException("a text is not UTF-8");
    }
    return text;
}

void ExpectEnd(const CArchiveU& archive)
{
    if (archive.GetRemaining() != 0) {
        throw CArchiveException("something follows the end");
    }
}

} // namespace

std::string EncodeMirrorHead(const T_MIRROR_HEAD& head)
{
    CArchiveU archive;
    WriteHead(archive, head);
    return archive.GetData();
}

std::string EncodeMirrorDefinition(const T_MIRROR_HEAD& head, std::span<const T_IP_DATA_ITEM> items)
{
    CArchiveU archive;
    WriteHead(archive, head);
    archive.Write(static_cast<std::uint32_t>(items.size()));
    for (const T_IP_DATA_ITEM& item : items) {
        archive.Write<std::uint32_t>(item.type);
        archive.Write(item.capacity);
        WriteText(archive, item.path);
    }
    return archive.GetData();
}

std::string EncodeMirrorValues(const T_MIRROR_HEAD& head, std::uint64_t write,
                               const CBlockDirectory& directory, std::span<const std::uint64_t> words)
{
    CArchiveU archive;
    WriteHead(archive, head);
    archive.Write(write);
    archive.Write(static_cast<std::uint32_t>(directory.GetPlaces().size()));
    for (const CBlockDirectory::T_PLACE& place : directory.GetPlaces()) {
        const std::uint64_t word = words[place.word];
        if (place.type == IPDATA_INT) {
            archive.Write(static_cast<std::uint32_t>(word));
        } else if (place.type == IPDATA_DOUBLE) {
            archive.Write(word);
        } else {
            const std::string_view text(reinterpret_cast<const char*>(&words[place.word + 1]),
                                        std::min<std::uint64_t>(word, place.capacity));
            if (word > place.capacity || !IsValidUtf8(text)) {
                throw CIPException(L"CIPDataMirror", L"The shared block is damaged: an item holds no text");
            }
            WriteText(archive, text);
        }
    }
    return archive.GetData();
}

T_MIRROR_HEAD DecodeMirrorHead(CArchiveU& message)
{
    if (message.Read<std::uint32_t>() != kMagic) {
        throw CArchiveException("it is no message of a mirror");
    }
    const auto version = message.Read<std::uint16_t>();
    if (version != kVersion) {
        throw CArchiveException("it is of version " + std::to_string(version) + ", not " +
                                std::to_string(kVersion));
    }
    const auto kind = message.Read<std::uint16_t>();
    if (kind < MIRROR_DEFINITION || kind > MIRROR_ASK) {
        throw CArchiveException("it is of the unknown kind " + std::to_string(kind));
    }
    T_MIRROR_HEAD head{static_cast<eMIRROR_MESSAGE>(kind)};
    head.source = message.Read<std::uint64_t>();
    head.run = message.Read<std::uint32_t>();
    if (kind == MIRROR_GONE || kind == MIRROR_ASK) {
        ExpectEnd(message);
    }
    return head;
}

std::vector<T_IP_DATA_ITEM> DecodeMirrorDefinition(CArchiveU& message)
{
    const auto count = message.Read<std::uint32_t>();
    std::vector<T_IP_DATA_ITEM> items;
    if (count > kMostBlockItems) {
        throw CArchiveException("it defines too many items");
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        T_IP_DATA_ITEM item;
        item.type =
            static_cast<eIP_DATA_TYPE>(message.Read<std::uint32_t>()); // checked when the block is made
        item.capacity = message.Read<std::uint32_t>();
        item.path = ReadText(message, kMostPathBytes);
        items.push_back(std::move(item));
    }
    ExpectEnd(message);
    return items;
}

std::uint64_t DecodeMirrorValues(CArchiveU& message, const CBlockDirectory& directory,
                                 std::vector<std::uint64_t>& words)
{
    const auto write = message.Read<std::uint64_t>();
    if (message.Read<std::uint32_t>() != directory.GetPlaces().size()) {
        throw CArchiveException("it does not have a value for each item");
    }
    std::vector<std::uint64_t> read(directory.GetWordsPerCopy(), 0);
    for (const CBlockDirectory::T_PLACE& place : directory.GetPlaces()) {
        if (place.type == IPDATA_INT) {
            read[place.word] = message.Read<std::uint32_t>();
        } else if (place.type == IPDATA_DOUBLE) {
            read[place.word] = message.Read<std::uint64_t>();
        } else {
            const CStringA text = ReadText(message, place.capacity);
            read[place.word] = text.size();
            std::memcpy(&read[place.word] + 1, text.data(), text.size());
        }
    }
    ExpectEnd(message);
    words = std::move(read);
    return write;
}

} // namespace alidade
