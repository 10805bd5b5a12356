#include "foundation/bus/wire/CborReader.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace alidade {
namespace {

constexpr unsigned kMajorBytes = 2;
constexpr unsigned kMajorText = 3;
constexpr unsigned kIndefinite = 31;

double FromHalf(std::uint64_t bits)
{
    const auto fraction = static_cast<double>(bits & 0x3FF);
    const int exponent = static_cast<int>(bits >> 10 & 0x1F);
    double value = 0.0;
    if (exponent == 0) {
        value = std::ldexp(fraction, -24);
    } else if (exponent == 31) {
        value = fraction == 0.0 ? std::numeric_limits<double>::infinity()
                                : std::numeric_limits<double>::quiet_NaN();
    } else {
        value = std::ldexp(fraction + 1024.0, exponent - 25);
    }
    return (bits & 0x8000) != 0 ? -value : value;
}

const wchar_t* NameOf(eCBOR_KIND kind)
{
    static constexpr const wchar_t* kNames[] = {L"the end",
                                                L"an integer",
                                                L"a negative integer",
                                                L"a byte string",
                                                L"a text",
                                                L"an array",
                                                L"a map",
                                                L"a truth value",
                                                L"null",
                                                L"a number with a point",
                                                L"a simple value",
                                                L"the end of a list"};
    return kNames[static_cast<std::size_t>(kind)];
}

} // namespace

CCborReader::CCborReader(std::span<const std::uint8_t> data, const T_CBOR_LIMITS& limits,
                         std::shared_ptr<const void> owner)
    : m_data(data), m_limits(limits), m_owner(std::move(owner))
{
    if (data.size() > limits.bytes) {
        FailAt(0, Format(L"the document has %zu bytes, more than the %zu that are taken", data.size(),
                         limits.bytes));
    }
}

bool CCborReader::FailAt(std::size_t at, const CString& text)
{
    if (m_error.empty()) {
        m_error = Format(L"At byte %zu: %s", at, text.c_str());
        m_loaded = true;
        m_kind = eCBOR_KIND::End;
    }
    return false;
}

bool CCborReader::Fail(const CString& text)
{
    return FailAt(m_at, text);
}

bool CCborReader::LoadHead()
{
    if (m_loaded) {
        return IsOk();
    }
    std::size_t at = m_at;
    unsigned major = 0;
    unsigned info = 0;
    do {
        if (at >= m_data.size()) {
            if (at != m_at) {
                return FailAt(at, L"the document ends behind a tag");
            }
            m_kind = eCBOR_KIND::End;
            m_next = at;
            return true;
        }
        major = m_data[at] >> 5;
        info = m_data[at] & 0x1Fu;
        ++at;
        m_argument = info;
        if (info >= 24 && info <= 27) {
            const std::size_t width = std::size_t{1} << (info - 24);
            if (m_data.size() - at < width) {
                return FailAt(m_at, L"the document ends within an item");
            }
            m_argument = 0;
            for (std::size_t i = 0; i < width; ++i) {
                m_argument = m_argument << 8 | m_data[at + i];
            }
            at += width;
        } else if (info > 27 && info < kIndefinite) {
            return FailAt(m_at, L"an item has a reserved form");
        }
    } while (major == 6 && info != kIndefinite);
    m_indefinite = info == kIndefinite;
    if (m_indefinite && (major < 2 || major == 6)) {
        return FailAt(m_at, L"an item has a reserved form");
    }
    switch (major) {
    case 7:
        if (info == kIndefinite) {
            m_kind = eCBOR_KIND::Break;
        } else if (info == 20 || info == 21) {
            m_kind = eCBOR_KIND::Bool;
            m_argument = info - 20;
        } else if (info == 22 || info == 23) {
            m_kind = eCBOR_KIND::Null;
        } else if (info >= 25) {
            m_kind = eCBOR_KIND::Float;
            m_float = info == 25 ? FromHalf(m_argument)
                      : info == 26
                          ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(m_argument)))
                          : std::bit_cast<double>(m_argument);
        } else if (info == 24 && m_argument < 32) {
            return FailAt(m_at, L"an item has a reserved form");
        } else {
            m_kind = eCBOR_KIND::Other;
        }
        break;
    default: {
        static constexpr eCBOR_KIND kKinds[] = {eCBOR_KIND::Unsigned, eCBOR_KIND::Negative, eCBOR_KIND::Bytes,
                                                eCBOR_KIND::Text,     eCBOR_KIND::Array,    eCBOR_KIND::Map};
        m_kind = kKinds[major];
        // A string's bytes, or one byte for each item, must be there: nobody allocates for a mere
        // announcement.
        const bool counts = major >= 2 && !m_indefinite;
        const std::uint64_t least = major == 5 && m_argument <= UINT64_MAX / 2 ? 2 * m_argument : m_argument;
        if (counts && least > m_data.size() - at) {
            return FailAt(m_at,
                          Format(L"%s of %llu announces more than the %zu bytes that follow", NameOf(m_kind),
                                 static_cast<unsigned long long>(m_argument), m_data.size() - at));
        }
        break;
    }
    }
    m_next = at;
    m_loaded = true;
    return true;
}

eCBOR_KIND CCborReader::Peek()
{
    return LoadHead() ? m_kind : eCBOR_KIND::End;
}

bool CCborReader::Take(eCBOR_KIND kind, const wchar_t* due)
{
    if (!LoadHead()) {
        return false;
    }
    if (m_kind != kind) {
        return Fail(Format(L"%s is due, not %s", due, NameOf(m_kind)));
    }
    m_at = m_next;
    m_loaded = false;
    return true;
}

bool CCborReader::ReadUnsigned(std::uint64_t& value, std::uint64_t most)
{
    if (Peek() != eCBOR_KIND::Unsigned) {
        std::int64_t number = 0;
        if (!ReadInt(number, 0, static_cast<std::int64_t>(std::min<std::uint64_t>(most, INT64_MAX)))) {
            return false;
        }
        value = static_cast<std::uint64_t>(number);
        return true;
    }
    if (m_argument > most) {
        return Fail(Format(L"the number %llu is above %llu", static_cast<unsigned long long>(m_argument),
                           static_cast<unsigned long long>(most)));
    }
    value = m_argument;
    return Take(eCBOR_KIND::Unsigned, L"");
}

bool CCborReader::ReadInt(std::int64_t& value, std::int64_t least, std::int64_t most)
{
    if (!LoadHead()) {
        return false;
    }
    constexpr std::uint64_t kMost = INT64_MAX;
    std::int64_t number = 0;
    if ((m_kind == eCBOR_KIND::Unsigned || m_kind == eCBOR_KIND::Negative) && m_argument <= kMost) {
        number = static_cast<std::int64_t>(m_argument);
        number = m_kind == eCBOR_KIND::Negative ? -1 - number : number;
    } else if (m_kind == eCBOR_KIND::Float && std::fabs(m_float) < 9.2e18 && std::trunc(m_float) == m_float) {
        number = static_cast<std::int64_t>(m_float);
    } else if (m_kind == eCBOR_KIND::Unsigned || m_kind == eCBOR_KIND::Negative) {
        return Fail(L"the number is out of range");
    } else {
        return Fail(Format(L"an integer is due, not %s", NameOf(m_kind)));
    }
    if (number < least || number > most) {
        return Fail(Format(L"the number %lld is not between %lld and %lld", static_cast<long long>(number),
                           static_cast<long long>(least), static_cast<long long>(most)));
    }
    value = number;
    m_at = m_next;
    m_loaded = false;
    return true;
}

bool CCborReader::ReadDouble(double& value)
{
    if (!LoadHead()) {
        return false;
    }
    switch (m_kind) {
    case eCBOR_KIND::Float:
        value = m_float;
        break;
    case eCBOR_KIND::Unsigned:
        value = static_cast<double>(m_argument);
        break;
    case eCBOR_KIND::Negative:
        value = -1.0 - static_cast<double>(m_argument);
        break;
    default:
        return Fail(Format(L"a number is due, not %s", NameOf(m_kind)));
    }
    m_at = m_next;
    m_loaded = false;
    return true;
}

bool CCborReader::ReadBool(bool& value)
{
    if (!Take(eCBOR_KIND::Bool, L"a truth value")) {
        return false;
    }
    value = m_argument != 0;
    return true;
}

std::span<const std::uint8_t> CCborReader::TakeBytes()
{
    // LoadHead has seen that they are there.
    const auto bytes = m_data.subspan(m_at, static_cast<std::size_t>(m_argument));
    m_at += bytes.size();
    return bytes;
}

template <class Target>
bool CCborReader::ReadPieces(unsigned major, std::span<const std::uint8_t>& view, Target& store)
{
    const eCBOR_KIND kind = major == kMajorText ? eCBOR_KIND::Text : eCBOR_KIND::Bytes;
    const std::size_t start = m_at;
    if (!Take(kind, NameOf(kind))) {
        return false;
    }
    std::span<const std::uint8_t> whole;
    Target joined;
    if (m_indefinite) {
        for (;;) {
            if (Peek() == eCBOR_KIND::Break) {
                Take(eCBOR_KIND::Break, L"");
                break;
            }
            if (!IsOk()) {
                return false;
            }
            // A piece has one length and no tag.
            if (m_kind != kind || m_indefinite || m_data[m_at] >> 5 != major) {
                return Fail(L"a string that comes in pieces holds something else");
            }
            Take(kind, L"");
            const auto piece = TakeBytes();
            joined.insert(joined.end(), piece.begin(), piece.end());
        }
        whole = {reinterpret_cast<const std::uint8_t*>(joined.data()), joined.size()};
    } else {
        whole = TakeBytes();
    }
    if (major == kMajorText && !IsValidUtf8({reinterpret_cast<const char*>(whole.data()), whole.size()})) {
        return FailAt(start, L"a text is not UTF-8");
    }
    if (!joined.empty()) {
        store = std::move(joined);
        whole = {reinterpret_cast<const std::uint8_t*>(store.data()), store.size()};
    }
    view = whole;
    return true;
}

bool CCborReader::ReadText(std::string_view& view, CStringA& store)
{
    std::span<const std::uint8_t> bytes;
    if (!ReadPieces(kMajorText, bytes, store)) {
        return false;
    }
    view = {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    return true;
}

bool CCborReader::ReadText(CStringA& value)
{
    std::string_view view;
    CStringA store;
    if (!ReadText(view, store)) {
        return false;
    }
    value.assign(view);
    return true;
}

bool CCborReader::ReadBytes(std::span<const std::uint8_t>& view, std::vector<std::uint8_t>& store)
{
    return ReadPieces(kMajorBytes, view, store);
}

bool CCborReader::ReadBytes(std::vector<std::uint8_t>& value)
{
    std::span<const std::uint8_t> view;
    std::vector<std::uint8_t> store;
    if (!ReadBytes(view, store)) {
        return false;
    }
    value.assign(view.begin(), view.end());
    return true;
}

bool CCborReader::ReadShared(std::shared_ptr<const void>& data, std::size_t& size)
{
    if (m_owner == nullptr || Peek() != eCBOR_KIND::Bytes || m_indefinite || m_argument < kCborSharedBytes) {
        return false;
    }
    Take(eCBOR_KIND::Bytes, L"");
    const auto bytes = TakeBytes();
    data = std::shared_ptr<const void>(m_owner, bytes.data());
    size = bytes.size();
    return true;
}

bool CCborReader::BeginArray(T_SEQUENCE& sequence)
{
    if (!Take(eCBOR_KIND::Array, L"an array")) {
        return false;
    }
    sequence = {m_argument, m_indefinite};
    return true;
}

bool CCborReader::BeginMap(T_SEQUENCE& sequence)
{
    if (!Take(eCBOR_KIND::Map, L"a map")) {
        return false;
    }
    sequence = {m_argument, m_indefinite};
    return true;
}

bool CCborReader::HasMore(T_SEQUENCE& sequence)
{
    if (!IsOk()) {
        return false;
    }
    if (!sequence.indefinite) {
        if (sequence.left == 0) {
            return false;
        }
        --sequence.left;
        return true;
    }
    switch (Peek()) {
    case eCBOR_KIND::Break:
        Take(eCBOR_KIND::Break, L"");
        sequence = {}; // asked once more, it has still ended
        return false;
    case eCBOR_KIND::End:
        Fail(L"the document ends within a list");
        return false;
    default:
        return true;
    }
}

bool CCborReader::SkipNull()
{
    return Peek() == eCBOR_KIND::Null && Take(eCBOR_KIND::Null, L"");
}

bool CCborReader::Skip()
{
    std::vector<T_SEQUENCE> open{{1, false}};
    while (!open.empty()) {
        if (!HasMore(open.back())) {
            open.pop_back();
            continue;
        }
        T_SEQUENCE inner;
        switch (Peek()) {
        case eCBOR_KIND::Array:
        case eCBOR_KIND::Map: {
            const bool map = m_kind == eCBOR_KIND::Map;
            if (open.size() > m_limits.depth) {
                return Fail(Format(L"items are nested deeper than %zu levels", m_limits.depth));
            }
            Take(m_kind, L"");
            // LoadHead has held the count against the bytes that follow, so it can be doubled.
            inner = {map && !m_indefinite ? 2 * m_argument : m_argument, m_indefinite};
            open.push_back(inner);
            break;
        }
        case eCBOR_KIND::Bytes:
        case eCBOR_KIND::Text: {
            std::span<const std::uint8_t> view;
            std::vector<std::uint8_t> store;
            ReadPieces(m_kind == eCBOR_KIND::Text ? kMajorText : kMajorBytes, view, store);
            break;
        }
        case eCBOR_KIND::End:
        case eCBOR_KIND::Break:
            Fail(Format(L"an item is due, not %s", NameOf(m_kind)));
            break;
        default:
            Take(m_kind, L"");
            break;
        }
    }
    return IsOk();
}

bool CCborReader::Finish()
{
    if (IsOk() && m_at != m_data.size()) {
        return Fail(Format(L"%zu bytes follow the document", m_data.size() - m_at));
    }
    return IsOk();
}

} // namespace alidade
