#include "layout/LayoutArchive.h"

#include "foundation/config/SectionArchive.h"
#include "foundation/utility/ListAppend.h"
#include "layout/CameraSettingItem.h"
#include "layout/LayoutWalk.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace alidade {
namespace {

constexpr char kMagic[2] = {'C', 'L'};
constexpr WORD kFileVersion = 1;
constexpr DWORD kOldNode = 1;
constexpr DWORD kNode = 2;
constexpr DWORD kOldPane = 2; // in an old node; any other kind is a leaf
constexpr DWORD kOldSetting = 1;
constexpr DWORD kSectionMarker = 0x12340001;

void CheckBound(std::uint64_t count, std::uint64_t most, const char* what)
{
    if (count > most) {
        throw CArchiveException("layout: more than " + std::to_string(most) + " " + what);
    }
}

struct T_SECTION_CENSUS {
    std::uint64_t settings = 0; // and sections
    std::uint64_t unmarked = 0; // sections without their marker
};

/// Counts what a section will make, up to where it ends or breaks off. The archive is a copy.
T_SECTION_CENSUS CountSettings(CArchiveU archive)
{
    T_SECTION_CENSUS census;
    try {
        // Sections lie in the file before those inside them, so one number tells how many are to come.
        for (std::uint64_t sections = 1; sections > 0; --sections) {
            CheckBound(++census.settings, kMaxLayoutSettings, "settings");
            if (archive.Read<DWORD>() != kSectionMarker) {
                ++census.unmarked;
                continue;
            }
            archive.ReadString();
            for (DWORD items = archive.Read<DWORD>(); items > 0; --items) {
                archive.ReadString();
                archive.ReadString();
                CheckBound(++census.settings, kMaxLayoutSettings, "settings");
            }
            sections += archive.Read<DWORD>();
        }
    } catch (const CArchiveException&) {
        // Reading the section will tell, unless it is the bound.
    }
    return census;
}

/// Reads the nodes of a file, keeping those that are begun on a stack of its own.
class CLayoutReader {
public:
    CLayoutReader(CArchiveU& archive, T_LAYOUT_FILE_REPORT& report)
        : m_archive(archive), m_size(archive.GetRemaining()), m_report(report)
    {
    }

    eLAYOUT_FILE Read(CCameraLayoutItem& root)
    {
        char magic[2];
        BYTE version[2];
        m_archive.ReadBytes(magic, sizeof(magic));
        m_archive.ReadBytes(version, sizeof(version));
        if (!std::equal(std::begin(magic), std::end(magic), kMagic)) {
            return LAYOUT_FILE_FOREIGN;
        }
        m_report.fileVersion = version[0] | version[1] << 8;
        if (m_report.fileVersion != kFileVersion) {
            return LAYOUT_FILE_OTHER_VERSION;
        }
        CheckBound(m_size, kMaxLayoutBytes, "bytes");
        ReadTree(root);
        if (const std::size_t left = m_archive.GetRemaining(); left > 0) {
            Note(std::to_string(left) + " bytes follow the last node");
        }
        return LAYOUT_FILE_READ;
    }

private:
    struct T_OPEN_NODE {
        CCameraLayoutItem* node;
        std::unique_ptr<CCameraLayoutItem> owned; // the root is not
        DWORD version;
        DWORD childrenLeft;
    };

    void ReadTree(CCameraLayoutItem& root)
    {
        BeginNode(root, nullptr);
        while (!m_open.empty()) {
            T_OPEN_NODE& top = m_open.back();
            if (top.childrenLeft > 0) {
                --top.childrenLeft;
                auto child = std::make_unique<CCameraLayoutItem>();
                CCameraLayoutItem& node = *child;
                BeginNode(node, std::move(child));
                continue;
            }
            EndNode(*top.node, top.version);
            std::unique_ptr<CCameraLayoutItem> owned = std::move(top.owned);
            m_open.pop_back();
            if (owned != nullptr) {
                Append(m_open.back().node->m_children, std::move(owned));
            }
        }
    }

    /// Reads a node as far as its children.
    void BeginNode(CCameraLayoutItem& node, std::unique_ptr<CCameraLayoutItem> owned)
    {
        CheckBound(static_cast<std::uint64_t>(++m_report.nodes), kMaxLayoutNodes, "nodes");
        m_open.push_back({&node, std::move(owned), m_archive.Read<DWORD>(), 0});
        m_report.depth = std::max(m_report.depth, static_cast<int>(m_open.size()));
        T_OPEN_NODE& open = m_open.back();
        if (open.version != kOldNode && open.version != kNode) {
            Note("a node of the unknown version " + std::to_string(open.version));
            return;
        }
        node.m_children.DeleteAll();
        const DWORD pane = m_archive.Read<DWORD>();
        node.m_bPane = open.version == kNode ? static_cast<int>(pane) : pane == kOldPane ? 1 : 0;
        node.m_strName = m_archive.ReadString();
        for (int* const field :
             {&node.m_nReserved1, &node.m_nReserved2, &node.m_bCaption, &node.m_bTabbed, &node.m_bStacked}) {
            *field = m_archive.Read<std::int32_t>();
        }
        open.childrenLeft = m_archive.Read<DWORD>();
        m_report.oldNodes += open.version == kOldNode ? 1 : 0;
        m_report.cameras += node.m_bPane == 0 ? 1 : 0;
    }

    /// Reads what lies behind a node's children.
    void EndNode(CCameraLayoutItem& node, DWORD version)
    {
        if (version != kOldNode && version != kNode) {
            return;
        }
        node.m_strFrameGrabber = m_archive.ReadString();
        node.m_strCamera = m_archive.ReadString();
        if (version == kOldNode) {
            ReadOldSettings(node.m_settings);
            return;
        }
        const T_SECTION_CENSUS census = CountSettings(m_archive);
        CheckBound(m_settings += census.settings, kMaxLayoutSettings, "settings");
        if (census.unmarked > 0) {
            Note("a section of settings without its marker");
        }
        LoadSection(m_archive, node.m_settings);
    }

    void ReadOldSettings(CProfileSection& section)
    {
        std::vector<CCameraSettingItem> settings;
        for (std::int32_t left = m_archive.Read<std::int32_t>(); left > 0; --left) {
            CheckBound(++m_settings, kMaxLayoutSettings, "settings");
            CCameraSettingItem& setting = settings.emplace_back(1, L"", L"");
            const DWORD version = m_archive.Read<DWORD>();
            if (version != kOldSetting) {
                Note("a setting of the unknown version " + std::to_string(version));
                continue;
            }
            setting.nType = m_archive.Read<std::int32_t>();
            setting.strName = m_archive.ReadString();
            setting.strValue = m_archive.ReadString();
        }
        // As SetItemValue for each, which would search the list every time.
        std::unordered_map<CString, CProfileItem*> items;
        for (CProfileItem* item : section.m_items) {
            items.emplace(item->m_strKey, item);
        }
        for (CCameraSettingItem& setting : settings) {
            CProfileItem*& item = items[setting.strName];
            if (item == nullptr) {
                item = &Append(section.m_items, std::make_unique<CProfileItem>(nullptr, nullptr));
                item->m_strKey = setting.strName;
            }
            item->m_strValue = std::move(setting.strValue);
        }
    }

    void Note(const CStringA& what)
    {
        if (m_report.oddity.empty()) {
            m_report.oddity =
                "before byte " + std::to_string(m_size - m_archive.GetRemaining()) + ": " + what;
        }
    }

    CArchiveU& m_archive;
    const std::size_t m_size;
    T_LAYOUT_FILE_REPORT& m_report;
    std::vector<T_OPEN_NODE> m_open;
    std::uint64_t m_settings = 0;
};

} // namespace

eLAYOUT_FILE LoadLayout(CArchiveU& archive, CCameraLayoutItem& item, T_LAYOUT_FILE_REPORT* report)
{
    T_LAYOUT_FILE_REPORT ignored;
    T_LAYOUT_FILE_REPORT& used = report != nullptr ? *report : ignored;
    used = {};
    return CLayoutReader(archive, used).Read(item);
}

void StoreLayout(CArchiveU& archive, const CCameraLayoutItem& item)
{
    const std::size_t start = archive.GetData().size();
    archive.WriteBytes(kMagic, sizeof(kMagic));
    archive.Write(kFileVersion);
    std::uint64_t nodes = 0;
    std::uint64_t settings = 0;
    const auto enter = [&](const CCameraLayoutItem& node) {
        CheckBound(++nodes, kMaxLayoutNodes, "nodes");
        archive.Write(kNode);
        archive.Write(static_cast<std::int32_t>(node.m_bPane));
        archive.WriteString(node.m_strName);
        for (const int field : {node.m_nReserved1, node.m_nReserved2, node.m_bCaption, node.m_bTabbed,
                                node.m_bStacked, node.m_children.Count()}) {
            archive.Write(static_cast<std::int32_t>(field));
        }
    };
    const auto leave = [&](const CCameraLayoutItem& node) {
        archive.WriteString(node.m_strFrameGrabber);
        archive.WriteString(node.m_strCamera);
        const std::size_t at = archive.GetData().size();
        StoreSection(archive, node.m_settings);
        const CStringA& written = archive.GetData();
        CheckBound(settings += CountSettings(CArchiveU(written.data() + at, written.size() - at)).settings,
                   kMaxLayoutSettings, "settings");
        CheckBound(written.size() - start, kMaxLayoutBytes, "bytes");
    };
    WalkLayout(item, enter, leave);
}

} // namespace alidade
