// Checks of a plug-in's exports.

#include "CheckContext.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <cstring>

namespace alidade {
namespace {

using Properties = TList<CMFCPropertyGridProperty, int, int>;

void ExpectWellFormed(const CMFCPropertyGridProperty& property, std::set<CString>& names)
{
    const std::string name = ToNarrow(property.GetName());
    Expect(!name.empty(), "a property has no name");
    Expect(names.insert(property.GetName()).second, "the property \"" + name + "\" is there twice");
    Expect(property.IsEditAllowed() || !property.GetOptions().empty(),
           "the property \"" + name + "\" has no options and allows no other text");
    const auto& options = property.GetOptions();
    Expect(std::find(options.begin(), options.end(), CString()) == options.end(),
           "the property \"" + name + "\" has an empty option");
}

} // namespace

void CheckLoads(CCheckContext& context)
{
    if (context.plugin.IsBuiltIn()) {
        throw CCheckSkipped("the driver is built in");
    }
    auto loaded = std::make_shared<std::pair<bool, CString>>();
    context.runner.Run("loading the library",
                       [loaded, &plugin = context.plugin] { loaded->first = plugin.Load(loaded->second); });
    Expect(loaded->first, "it cannot be loaded: " + ToNarrow(loaded->second));
}

void CheckExports(CCheckContext& context)
{
    const std::string missing = context.plugin.GetMissingExports();
    Expect(missing.empty(), "not exported: " + missing);
}

void CheckLayoutVersion(CCheckContext& context)
{
    if (context.plugin.pfnGetLayoutVersion == nullptr) {
        throw CCheckSkipped("GetFrameGrabberLayoutVersion is not exported, which is allowed");
    }
    auto version = std::make_shared<DWORD>(0);
    context.runner.Run("GetFrameGrabberLayoutVersion",
                       [version, get = context.plugin.pfnGetLayoutVersion] { *version = get(); });
    Expect(*version == ALIDADE_DRIVER_LAYOUT_VERSION, "the plug-in was built with layout version " +
                                                          std::to_string(*version) + ", this system has " +
                                                          std::to_string(ALIDADE_DRIVER_LAYOUT_VERSION));
}

void CheckName(CCheckContext& context)
{
    constexpr int size = 64;
    constexpr char guard = '\x7F';
    // Room behind the 64 bytes shows a name that runs over them.
    auto buffer = std::make_shared<std::vector<char>>(4096, guard);
    context.runner.Run("GetFrameGrabberName",
                       [buffer, get = context.plugin.pfnGetName] { get(buffer->data(), size); });
    Expect(std::all_of(buffer->begin() + size, buffer->end(), [](char c) { return c == guard; }),
           "GetFrameGrabberName wrote beyond the 64 bytes that it was given");
    Expect(std::memchr(buffer->data(), '\0', size) != nullptr, "the name has no terminator within 64 bytes");
    const std::string name = buffer->data();
    Expect(!name.empty(), "the name is empty");
    Expect(IsValidUtf8(name), "the name is not UTF-8");
}

void CheckProperties(CCheckContext& context)
{
    struct T_LISTS {
        Properties properties;
        TList<CString, int, int> cameras;
    };
    auto lists = std::make_shared<T_LISTS>();
    const CString before = L"stood here before";
    lists->properties.Insert(new CMFCPropertyGridProperty(before, L"", L""));
    lists->cameras.Insert(new CString(L"camera"));
    context.runner.Run("GetFrameGrabberProperties", [lists, get = context.plugin.pfnGetProperties] {
        get(lists->properties, lists->cameras);
    });
    const CMFCPropertyGridProperty* first = lists->properties.First();
    Expect(first != nullptr && first->GetName() == before,
           "the properties were not appended: what stood in the list before is gone");
    Expect(lists->cameras.Count() == 1, "the list of camera controls was changed");
    std::set<CString> names;
    for (const CMFCPropertyGridProperty* property : lists->properties) {
        Expect(property != nullptr, "a property is null");
        if (property != first) {
            ExpectWellFormed(*property, names);
        }
    }
}

void CheckFactory(CCheckContext& context)
{
    context.MakeDriver();
    context.MakeDriver();
}

void CheckUnload(CCheckContext& context)
{
    context.DestroyMain();
    if (context.plugin.IsBuiltIn()) {
        throw CCheckSkipped("the driver is built in");
    }
    context.runner.Run("unloading the library", [&plugin = context.plugin] { plugin.Unload(); });
}

} // namespace alidade
