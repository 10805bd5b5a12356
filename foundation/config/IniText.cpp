#include "foundation/config/IniText.h"

#include "foundation/platform/Text.h"

#include <algorithm>

namespace alidade {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kMark = "\xEF\xBB\xBF";

std::string_view TrimBlanks(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return text.substr(text.size());
    }
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

T_INI_LINE::eKIND Classify(T_INI_LINE& line)
{
    const std::string_view body = TrimBlanks(line.text);
    if (body.empty()) {
        return T_INI_LINE::BLANK;
    }
    if (body.find('\0') != std::string_view::npos || !IsValidUtf8(body)) {
        return T_INI_LINE::BAD;
    }
    if (body.front() == ';' || body.front() == '#') {
        return T_INI_LINE::COMMENT;
    }
    if (body.front() == '[') {
        const std::size_t close = body.find(']');
        if (close == std::string_view::npos) {
            return T_INI_LINE::BAD;
        }
        line.name = TrimBlanks(body.substr(1, close - 1));
        const auto depth = static_cast<std::size_t>(std::count(line.name.begin(), line.name.end(), '/')) + 1;
        return depth <= kMaxSectionDepth ? T_INI_LINE::SECTION : T_INI_LINE::BAD;
    }
    const std::size_t equals = line.text.find('=');
    if (equals == std::string_view::npos) {
        return T_INI_LINE::BAD;
    }
    line.name = TrimBlanks(line.text.substr(0, equals));
    line.value = TrimBlanks(line.text.substr(equals + 1));
    return line.name.empty() ? T_INI_LINE::BAD : T_INI_LINE::ENTRY;
}

} // namespace

bool CIniLines::Next(T_INI_LINE& line)
{
    if (m_rest.empty()) {
        return false;
    }
    const std::size_t length = std::min(m_rest.find_first_of("\r\n"), m_rest.size());
    const std::size_t end = m_rest.substr(length, 2) == "\r\n" ? 2 : length < m_rest.size() ? 1 : 0;
    line = T_INI_LINE();
    line.text = m_rest.substr(0, length);
    line.end = m_rest.substr(length, end);
    m_rest.remove_prefix(length + end);
    while (line.text.starts_with(kMark)) {
        line.text.remove_prefix(kMark.size());
    }
    line.kind = Classify(line);
    return true;
}

T_INI_SCAN ScanIni(std::string_view bytes)
{
    T_INI_SCAN scan;
    CIniLines lines(bytes);
    T_INI_LINE line;
    std::size_t number = 0;
    std::size_t settings = 0;
    bool homeless = false; // behind a section heading that cannot be read
    while (lines.Next(line)) {
        ++number;
        bool good = line.kind != T_INI_LINE::BAD;
        if (line.kind == T_INI_LINE::SECTION) {
            settings += static_cast<std::size_t>(std::count(line.name.begin(), line.name.end(), '/')) + 1;
            good = settings <= kMaxSettings;
            homeless = !good;
        } else if (line.kind == T_INI_LINE::ENTRY) {
            good = !homeless && ++settings <= kMaxSettings;
        } else if (!good && line.text.find_first_not_of(kBlanks) == line.text.find('[')) {
            homeless = true;
        }
        if (good) {
            scan.text.append(line.text).append(line.end);
        } else if (scan.badLines++ == 0) {
            scan.firstBadLine = number;
        }
    }
    return scan;
}

} // namespace alidade
