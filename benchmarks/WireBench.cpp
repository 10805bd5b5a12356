#include "benchmarks/Harness.h"

#include "foundation/bus/wire/VariableCbor.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace alidade::bench {
namespace {

/// A command's result as it is met: ten found marks of three values each, in 40 items with the marks
/// themselves.
CIPVariable MakeTree()
{
    CIPVariable tree;
    for (int i = 0; i < 10; ++i) {
        CIPVariable& mark = tree.AddChildItem(CIPVariable(IPVAR_TREE, ("Mark" + std::to_string(i)).c_str()));
        mark.SetChildItem("PositionX", 12.3456789 * i);
        mark.SetChildItem("Score", 90 + i);
        mark.SetChildItem("Model", "fiducial, round, 1.2 mm");
    }
    return tree;
}

} // namespace

void BenchWire(CSuite& suite)
{
    const std::string name = "CIPVariable of 40 items to CBOR and back";
    if (!suite.IsWanted(name)) {
        return;
    }
    const CIPVariable tree = MakeTree();
    std::vector<std::uint8_t> document;
    EncodeVariable(tree, document);
    // The same data as the other library holds it.
    const nlohmann::json json = nlohmann::json::from_cbor(document);

    const auto ours = [&] {
        std::vector<std::uint8_t> bytes;
        EncodeVariable(tree, bytes);
        CIPVariable back;
        CString error;
        if (!DecodeVariable(bytes, back, error) || back.GetChildCount() != 10) {
            std::fprintf(stderr, "alidade-bench: the variable did not come back\n");
            std::abort();
        }
    };
    const auto bare = [&] {
        const std::vector<std::uint8_t> bytes = nlohmann::json::to_cbor(json);
        const nlohmann::json back = nlohmann::json::from_cbor(bytes);
        if (back[3].size() != 10) {
            std::fprintf(stderr, "alidade-bench: the document did not come back\n");
            std::abort();
        }
    };
    suite.Compare(name, 1.5, ours, bare);
}

} // namespace alidade::bench
