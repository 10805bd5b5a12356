#pragma once

#include "layout/LayoutArchive.h"

#include <random>
#include <string>
#include <string_view>

namespace alidade {

/// The bytes that hex digits stand for; other characters separate.
inline std::string Hex(std::string_view digits)
{
    std::string bytes;
    int half = -1;
    for (const char c : digits) {
        const std::size_t value = std::string_view("0123456789ABCDEF").find(c);
        if (value == std::string_view::npos) {
            continue;
        }
        if (half < 0) {
            half = static_cast<int>(value);
        } else {
            bytes += static_cast<char>(half << 4 | static_cast<int>(value));
            half = -1;
        }
    }
    return bytes;
}

inline std::string Repeat(std::string_view part, int times)
{
    std::string all;
    for (; times > 0; --times) {
        all += part;
    }
    return all;
}

/// The stored bytes tell all of a layout, so equal bytes are equal layouts.
inline std::string Stored(const CCameraLayoutItem& item)
{
    CArchiveU archive;
    StoreLayout(archive, item);
    return archive.GetData();
}

inline eLAYOUT_FILE LoadBytes(const std::string& bytes, CCameraLayoutItem& item,
                              T_LAYOUT_FILE_REPORT* report = nullptr)
{
    CArchiveU archive(bytes.data(), bytes.size());
    return LoadLayout(archive, item, report);
}

inline CCameraLayoutItem Loaded(const std::string& bytes)
{
    CCameraLayoutItem item;
    LoadBytes(bytes, item);
    return item;
}

inline CCameraLayoutItem& AddChild(CCameraLayoutItem& parent, const wchar_t* name, int pane = 1)
{
    auto* child = new CCameraLayoutItem;
    parent.m_children.Insert(child);
    child->SetName(name);
    child->m_bPane = pane;
    return *child;
}

/// A tree of `nodes` nodes with all fields, texts and settings at random.
inline CCameraLayoutItem RandomLayout(unsigned seed, int nodes)
{
    std::mt19937 random(seed);
    const auto number = [&](unsigned most) { return static_cast<int>(random() % (most + 1)); };
    const auto text = [&] {
        static constexpr std::wstring_view kLetters = L"aZ0 \u00E4\u6F22\"\\/\n\t\U0001F4F7";
        CString made;
        for (int left = number(9) == 0 ? 260 : number(6); left > 0; --left) {
            made += kLetters[random() % kLetters.size()];
        }
        return made;
    };
    CCameraLayoutItem root;
    std::vector<CCameraLayoutItem*> all{&root};
    while (static_cast<int>(all.size()) < nodes) {
        all.push_back(&AddChild(*all[random() % all.size()], L""));
    }
    for (CCameraLayoutItem* node : all) {
        node->m_bPane = number(9) == 0 ? -7 : number(1);
        node->m_strName = text();
        node->m_nReserved1 = static_cast<int>(random());
        node->m_nReserved2 = number(1);
        node->m_bCaption = number(1);
        node->m_bTabbed = number(2);
        node->m_bStacked = number(1);
        node->m_strFrameGrabber = text();
        node->m_strCamera = text();
        node->m_settings.m_strName = text();
        CProfileSection* section = &node->m_settings;
        for (int left = number(5); left > 0; --left) {
            section->m_items.Insert(new CProfileItem(text().c_str(), text().c_str()));
            section = number(2) == 0 ? &section->GetSubSection(text().c_str()) : section;
        }
    }
    return root;
}

} // namespace alidade
