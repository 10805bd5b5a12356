#include "foundation/bus/wire/CborWriter.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <bit>

namespace alidade {

void CCborWriter::Append(const void* data, std::size_t size)
{
    const auto* from = static_cast<const std::uint8_t*>(data);
    m_out.insert(m_out.end(), from, from + size);
}

void CCborWriter::WriteHead(unsigned major, std::uint64_t argument)
{
    std::uint8_t head[9];
    const unsigned shift = major << 5;
    if (argument < 24) {
        m_out.push_back(static_cast<std::uint8_t>(shift | argument));
        return;
    }
    const unsigned width = argument <= 0xFF ? 0 : argument <= 0xFFFF ? 1 : argument <= 0xFFFFFFFF ? 2 : 3;
    const unsigned bytes = 1u << width;
    head[0] = static_cast<std::uint8_t>(shift | (24 + width));
    for (unsigned i = 0; i < bytes; ++i) {
        head[1 + i] = static_cast<std::uint8_t>(argument >> (8 * (bytes - 1 - i)));
    }
    Append(head, 1 + bytes);
}

void CCborWriter::WriteInt(std::int64_t value)
{
    if (value >= 0) {
        WriteHead(0, static_cast<std::uint64_t>(value));
    } else {
        WriteHead(1, ~static_cast<std::uint64_t>(value));
    }
}

void CCborWriter::WriteDouble(double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value);
    std::uint8_t item[9] = {0xFB};
    for (unsigned i = 0; i < 8; ++i) {
        item[1 + i] = static_cast<std::uint8_t>(bits >> (56 - 8 * i));
    }
    Append(item, sizeof item);
}

void CCborWriter::WriteText(std::string_view utf8)
{
    if (!IsValidUtf8(utf8)) {
        const CStringA mended = ToNarrow(ToWide(utf8));
        WriteHead(3, mended.size());
        Append(mended.data(), mended.size());
        return;
    }
    WriteHead(3, utf8.size());
    Append(utf8.data(), utf8.size());
}

void CCborWriter::WriteBytes(const void* data, std::size_t size)
{
    WriteHead(2, size);
    if (size != 0) {
        Append(data, size);
    }
}

void CCborWriter::WriteShared(std::shared_ptr<const void> data, std::size_t size)
{
    if (m_blocks == nullptr || size < kCborSharedBytes) {
        WriteBytes(data.get(), size);
        return;
    }
    WriteHead(2, size);
    m_blocks->push_back({m_out.size(), std::move(data), size});
}

void CCborWriter::Reserve(std::size_t bytes)
{
    if (bytes > m_out.capacity() - m_out.size()) {
        m_out.reserve(std::max(m_out.size() + bytes, 2 * m_out.capacity()));
    }
}

} // namespace alidade
