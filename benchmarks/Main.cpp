#include "benchmarks/Harness.h"

#include <CLI/CLI.hpp>

int main(int argc, char** argv)
{
    CLI::App app("Measures Alidade against the bare operations, as ratios within one run");
    std::string json;
    std::string filter;
    app.add_option("--json", json, "Write the rows to this file");
    app.add_option("--filter", filter, "Only rows whose name contains this text");
    CLI11_PARSE(app, argc, argv);

    alidade::bench::CSuite suite(filter);
    alidade::bench::BenchGrabber(suite);
    alidade::bench::BenchPreProcess(suite);
    alidade::bench::BenchFlood(suite);
    alidade::bench::BenchContainers(suite);
    alidade::bench::BenchBus(suite);
    alidade::bench::BenchData(suite);
    alidade::bench::BenchTransport(suite);
    alidade::bench::BenchWire(suite);
    alidade::bench::BenchScene(suite);
    alidade::bench::BenchDisplay(suite);
    alidade::bench::BenchScreen(suite);
    suite.Print();
    if (!json.empty() && !suite.WriteJson(json)) {
        std::fprintf(stderr, "alidade-bench: cannot write %s\n", json.c_str());
        return 1;
    }
    return suite.IsEmpty() ? 1 : 0;
}
