#include "foundation/bus/text/CommandText.h"

#include "foundation/bus/wire/CborTypes.h"
#include "foundation/bus/wire/NumberText.h"
#include "foundation/platform/Text.h"

#include <algorithm>
#include <charconv>

namespace alidade {
namespace {

constexpr std::string_view kSpace = " \t\r\n\v\f";
constexpr std::string_view kHexMark = "hex:";

/// Length of the quoted text at the beginning, quotes included; npos when it is not closed.
std::size_t MeasureQuoted(std::string_view text)
{
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            return i + 1;
        }
        if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\')) {
            ++i;
        }
    }
    return std::string_view::npos;
}

/// The text within the quotes of a quoted text.
CStringA Unquote(std::string_view quoted)
{
    CStringA text;
    for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
        if (quoted[i] == '\\' && (quoted[i + 1] == '"' || quoted[i + 1] == '\\') && i + 2 < quoted.size()) {
            ++i;
        }
        text += quoted[i];
    }
    return text;
}

/// Takes the next word, with its quotes, from the front. False when a quote is not closed.
bool TakeWord(std::string_view& rest, std::string_view& word)
{
    std::size_t end = 0;
    while (end < rest.size() && kSpace.find(rest[end]) == std::string_view::npos) {
        if (rest[end] != '"') {
            ++end;
            continue;
        }
        const std::size_t length = MeasureQuoted(rest.substr(end));
        if (length == std::string_view::npos) {
            return false;
        }
        end += length;
    }
    word = rest.substr(0, end);
    rest.remove_prefix(end);
    return true;
}

bool IsQuoted(std::string_view word)
{
    return !word.empty() && word.front() == '"' && MeasureQuoted(word) == word.size();
}

/// An argument on its way into the variable.
struct T_ARGUMENT {
    std::string_view key;
    std::string_view value;
    const COMMAND_IMAGE_LOADER& loader;
    CString& error;

    bool Fail(const wchar_t* text) const
    {
        error = Format(L"Argument \"%s\": %s", ToWide(key).c_str(), text);
        return false;
    }
};

bool ParseHex(const T_ARGUMENT& argument, CIPVariable& node)
{
    const std::string_view digits = argument.value.substr(kHexMark.size());
    if (digits.size() % 2 != 0) {
        return argument.Fail(L"hex: takes two digits for each byte");
    }
    std::vector<BYTE> bytes(digits.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char* from = digits.data() + 2 * i;
        if (std::from_chars(from, from + 2, bytes[i], 16).ptr != from + 2) {
            return argument.Fail(L"hex: takes the digits 0 to 9 and A to F only");
        }
    }
    node.SetValue(bytes.data(), static_cast<unsigned>(bytes.size()));
    return true;
}

bool ParseImage(const T_ARGUMENT& argument, CIPVariable& node)
{
    const std::string_view written = argument.value.substr(1);
    const CString path = ToWide(IsQuoted(written) ? Unquote(written) : CStringA(written));
    if (path.empty()) {
        return argument.Fail(L"@ wants the name of an image file");
    }
    if (!argument.loader) {
        return argument.Fail(L"images are not taken here");
    }
    CIPVariable image;
    CString reason;
    if (!argument.loader(path, image, reason)) {
        return argument.Fail(reason.empty() ? L"the image cannot be read" : reason.c_str());
    }
    image.SetName(node.GetName());
    node = std::move(image);
    return true;
}

bool ParseNumber(const T_ARGUMENT& argument, CIPVariable& node)
{
    const double number = ReadNumber(argument.value);
    if (!std::isfinite(number)) {
        return argument.Fail(L"the number is too large");
    }
    const bool integer = argument.value.find_first_of(".eE") == std::string_view::npos;
    if (integer && number >= INT32_MIN && number <= INT32_MAX) {
        node.SetValue(static_cast<int>(number));
    } else if (integer && number >= 0 && number <= UINT32_MAX) {
        node.SetValue(static_cast<unsigned>(number));
    } else {
        node.SetValue(number);
    }
    return true;
}

bool ParseValue(const T_ARGUMENT& argument, CIPVariable& node)
{
    const std::string_view value = argument.value;
    if (value.starts_with('"')) {
        if (!IsQuoted(value)) {
            return argument.Fail(L"a text in quotes ends with its closing quote");
        }
        node.SetValue(Unquote(value).c_str());
        return true;
    }
    if (value.starts_with('@')) {
        return ParseImage(argument, node);
    }
    if (value.starts_with(kHexMark)) {
        return ParseHex(argument, node);
    }
    if (IsNumberForm(value)) {
        return ParseNumber(argument, node);
    }
    node.SetValue(CStringA(value).c_str());
    return true;
}

/// The node of a dotted key, made where it is missing; null with an error.
CIPVariable* MakeNode(const T_ARGUMENT& argument, CIPVariable& root)
{
    CIPVariable* node = &root;
    std::string_view rest = argument.key;
    for (std::size_t depth = 2;; ++depth) {
        const std::size_t dot = rest.find('.');
        const CStringA part(rest.substr(0, dot));
        if (part.empty()) {
            argument.Fail(L"a key has names, with single dots between them");
            return nullptr;
        }
        if (depth > T_CBOR_LIMITS().depth) {
            argument.Fail(L"the key is nested too deep");
            return nullptr;
        }
        const bool isNew = node->FindChild(part.c_str()) == nullptr;
        node = &(*node)(part.c_str());
        if (dot == std::string_view::npos) {
            if (!isNew && (node->HasValue() || argument.value.starts_with('@'))) {
                argument.Fail(L"the key is given twice");
                return nullptr;
            }
            return node;
        }
        rest.remove_prefix(dot + 1);
    }
}

bool ParseArgument(std::string_view written, CIPVariable& root, const COMMAND_IMAGE_LOADER& loader,
                   CString& error)
{
    const CStringA text = IsQuoted(written) ? Unquote(written) : CStringA(written);
    const std::size_t equals = text.find('=');
    const std::string_view whole = text;
    const T_ARGUMENT argument{whole.substr(0, equals),
                              equals != CStringA::npos ? whole.substr(equals + 1) : std::string_view(),
                              loader, error};
    if (!IsValidUtf8(whole) || whole.find('\0') != std::string_view::npos) {
        return argument.Fail(L"it is not UTF-8 text");
    }
    if (equals == CStringA::npos) {
        return argument.Fail(L"key=value is due");
    }
    CIPVariable* node = MakeNode(argument, root);
    return node != nullptr && ParseValue(argument, *node);
}

} // namespace

bool SplitCommandLine(std::string_view line, T_COMMAND_TEXT& command, CString& error)
{
    std::vector<CStringA> words;
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(kSpace), line.size()));
        if (line.empty()) {
            break;
        }
        std::string_view word;
        if (!TakeWord(line, word)) {
            error = Format(L"The quote in %s is not closed", ToWide(line).c_str());
            return false;
        }
        words.push_back(words.size() < 3 && IsQuoted(word) ? Unquote(word) : CStringA(word));
    }
    if (words.size() < 3) {
        error = L"A command is written UNIT GROUP NAME key=value ..., with \"\" for any unit";
        return false;
    }
    if (words[2].empty()) {
        error = L"The command's name is empty";
        return false;
    }
    command.unit = std::move(words[0]);
    command.group = std::move(words[1]);
    command.name = std::move(words[2]);
    command.arguments.assign(std::make_move_iterator(words.begin() + 3),
                             std::make_move_iterator(words.end()));
    return true;
}

bool ParseCommandArguments(std::span<const CStringA> arguments, CIPVariable& variable,
                           const COMMAND_IMAGE_LOADER& loader, CString& error)
{
    CIPVariable filled = variable;
    for (const CStringA& argument : arguments) {
        if (!ParseArgument(argument, filled, loader, error)) {
            return false;
        }
    }
    variable = std::move(filled);
    return true;
}

} // namespace alidade
