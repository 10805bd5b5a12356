#include "foundation/config/SectionArchive.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/ListAppend.h"
#include "tools/layout/LayoutJson.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

namespace alidade {
namespace {

using Json = nlohmann::ordered_json;

/// Reads a text for what the reader of values passes over: a key that an object has twice.
class CTwiceFinder : public nlohmann::json_sax<Json> {
public:
    bool null() override { return Value(); }
    bool boolean(bool) override { return Value(); }
    bool number_integer(number_integer_t) override { return Value(); }
    bool number_unsigned(number_unsigned_t) override { return Value(); }
    bool number_float(number_float_t, const string_t&) override { return Value(); }
    bool string(string_t&) override { return Value(); }
    bool binary(binary_t&) override { return Value(); }
    bool start_object(std::size_t) override { return Open(false); }
    bool start_array(std::size_t) override { return Open(true); }
    bool end_object() override { return Close(); }
    bool end_array() override { return Close(); }
    bool key(string_t& name) override
    {
        m_open.back().at = name;
        if (!m_open.back().keys.insert(name).second) {
            throw CLayoutJsonError(Place() + ": stands twice in its object");
        }
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override
    {
        const std::string_view text = error.what();
        const std::size_t behindNumber = text.find("] "); // the library's own number of the error
        throw CLayoutJsonError(std::string(text.substr(behindNumber == text.npos ? 0 : behindNumber + 2)));
    }

private:
    struct T_OPEN {
        bool array;
        std::size_t count = 0;
        std::string at;
        std::set<std::string> keys;
    };

    bool Value()
    {
        if (!m_open.empty() && m_open.back().array) {
            m_open.back().at = std::to_string(m_open.back().count++);
        }
        return true;
    }
    bool Open(bool array)
    {
        Value();
        m_open.push_back({array, 0, {}, {}});
        return true;
    }
    bool Close()
    {
        m_open.pop_back();
        return true;
    }
    std::string Place() const
    {
        std::string place;
        for (const T_OPEN& open : m_open) {
            place += "/" + open.at;
        }
        return place;
    }

    std::vector<T_OPEN> m_open;
};

/// What is wrong with a member, and where below the node or section that is being read.
[[noreturn]] void Refuse(const std::string& place, const std::string& text)
{
    throw CLayoutJsonError(place + ": " + text);
}

CString TextOf(const Json& value, const std::string& place)
{
    if (!value.is_string()) {
        Refuse(place, "must be a text");
    }
    return ToWide(value.get_ref<const std::string&>());
}

/// A whole number of 32 bits, or with `flag` also true or false.
int NumberOf(const Json& value, const std::string& place, bool flag)
{
    if (flag && value.is_boolean()) {
        return value.get<bool>() ? 1 : 0;
    }
    using limits = std::numeric_limits<int>;
    const bool inRange =
        value.is_number_unsigned() ? value.get<std::uint64_t>() <= static_cast<std::uint64_t>(limits::max())
        : value.is_number_integer()
            ? value.get<std::int64_t>() >= limits::min() && value.get<std::int64_t>() <= limits::max()
            : false;
    if (!inRange) {
        Refuse(place, flag ? "must be true, false or a whole number of 32 bits"
                           : "must be a whole number of 32 bits");
    }
    return value.get<int>();
}

void AddItem(CProfileSection& section, CString key, CString value)
{
    CProfileItem& item = Append(section.m_items, std::make_unique<CProfileItem>(nullptr, nullptr));
    item.m_strKey = std::move(key);
    item.m_strValue = std::move(value);
}

void ReadItems(const Json& items, CProfileSection& section, const std::string& place)
{
    if (items.is_object()) {
        for (const auto& [key, value] : items.items()) {
            AddItem(section, ToWide(key), TextOf(value, place + "/" + key));
        }
    } else if (items.is_array()) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            const std::string at = place + "/" + std::to_string(i);
            if (!items[i].is_array() || items[i].size() != 2) {
                Refuse(at, "must be a pair of texts, a key and its value");
            }
            AddItem(section, TextOf(items[i][0], at + "/0"), TextOf(items[i][1], at + "/1"));
        }
    } else {
        Refuse(place, "must be an object of texts, or an array of pairs of texts");
    }
}

void ReadSection(const Json& source, CProfileSection& section, const std::string& place, int depth)
{
    if (!source.is_object()) {
        Refuse(place, "must be an object");
    }
    if (depth > kMaxArchivedSectionDepth) {
        throw CLayoutJsonError("/settings: sections are nested deeper than " +
                               std::to_string(kMaxArchivedSectionDepth));
    }
    for (const auto& [key, value] : source.items()) {
        const std::string at = place + "/" + key;
        if (key == "name") {
            section.m_strName = TextOf(value, at);
        } else if (key == "items") {
            ReadItems(value, section, at);
        } else if (key == "sections") {
            if (!value.is_array()) {
                Refuse(at, "must be an array of sections");
            }
            for (std::size_t i = 0; i < value.size(); ++i) {
                ReadSection(value[i], Append(section.m_sections, std::make_unique<CProfileSection>()),
                            at + "/" + std::to_string(i), depth + 1);
            }
        } else {
            Refuse(at, "is no member of a section; there are name, items and sections");
        }
    }
}

/// Reads a node's members but for its children.
/// @return the array of children, or null
const Json* ReadNode(const Json& source, CCameraLayoutItem& node)
{
    if (!source.is_object()) {
        Refuse("", "must be an object");
    }
    const struct {
        const char* key;
        CString* text;
        int* number;
        bool flag;
    } members[] = {
        {"pane", nullptr, &node.m_bPane, true},
        {"name", &node.m_strName, nullptr, false},
        {"reserved1", nullptr, &node.m_nReserved1, false},
        {"reserved2", nullptr, &node.m_nReserved2, false},
        {"caption", nullptr, &node.m_bCaption, true},
        {"tabbed", nullptr, &node.m_bTabbed, true},
        {"stacked", nullptr, &node.m_bStacked, true},
        {"grabber", &node.m_strFrameGrabber, nullptr, false},
        {"camera", &node.m_strCamera, nullptr, false},
    };
    const Json* children = nullptr;
    for (const auto& [key, value] : source.items()) {
        const std::string at = "/" + key;
        const auto* const found = std::find_if(std::begin(members), std::end(members),
                                               [&](const auto& member) { return key == member.key; });
        if (found != std::end(members)) {
            if (found->text != nullptr) {
                *found->text = TextOf(value, at);
            } else {
                *found->number = NumberOf(value, at, found->flag);
            }
        } else if (key == "settings") {
            ReadSection(value, node.m_settings, at, 1);
        } else if (key != "children") {
            Refuse(at, "is no member of a node; there are pane, name, reserved1, reserved2, caption, tabbed, "
                       "stacked, grabber, camera, settings and children");
        } else if (!value.is_array()) {
            Refuse(at, "must be an array of nodes");
        } else {
            children = &value;
        }
    }
    return children;
}

struct T_OPEN_NODE {
    CCameraLayoutItem* node;
    const Json* children; // may be null
    std::size_t next = 0;
};

std::string PlaceOf(const std::vector<T_OPEN_NODE>& open)
{
    std::string place;
    for (const T_OPEN_NODE& node : open) {
        place += "/children/" + std::to_string(node.next - 1);
    }
    return place;
}

} // namespace

CCameraLayoutItem LayoutFromJson(std::string_view text)
{
    CTwiceFinder finder;
    Json::sax_parse(text, &finder);
    const Json source = Json::parse(text);

    CCameraLayoutItem root;
    std::vector<T_OPEN_NODE> open;
    try {
        open.push_back({&root, ReadNode(source, root)});
        while (!open.empty()) {
            T_OPEN_NODE& top = open.back();
            if (top.children == nullptr || top.next == top.children->size()) {
                open.pop_back();
                continue;
            }
            const Json& child = (*top.children)[top.next++];
            CCameraLayoutItem& node = Append(top.node->m_children, std::make_unique<CCameraLayoutItem>());
            open.push_back({&node, ReadNode(child, node)});
        }
    } catch (const CLayoutJsonError& error) {
        const std::string place = PlaceOf(open) + error.what();
        throw CLayoutJsonError(place.starts_with('/') ? place : "/" + place);
    }
    return root;
}

} // namespace alidade
