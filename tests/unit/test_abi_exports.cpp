// The shared libraries' export tables are an ABI: each must equal its checked-in symbol list
// (libtarndll's never grows) name nothing internal, and carry the SONAME applications record.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string run(const std::string& command) {
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    std::array<char, 4096> buffer{};
    size_t n;
    while (pipe && (n = fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0)
        output.append(buffer.data(), n);
    return output;
}

struct Library {
    const char* path;
    const char* symbols;
    const char* soname;
    std::size_t count; // 0: the list may change with the companion library's version
};

TEST(Abi, ExportTablesEqualTheCheckedInListsAndCarryTheSonames) {
    const Library libraries[] = {
        {TARN_SHARED_LIBRARY, "tarndll.symbols", "libtarndll.so.2", 192},
#ifdef TARNVNA_SHARED_LIBRARY
        {TARNVNA_SHARED_LIBRARY, "tarnvna.symbols", "libtarnvna.so.1", 0},
#endif
    };
    for (const Library& library : libraries) {
        SCOPED_TRACE(library.path);
        // Defined dynamic symbols: "<value> <type> <name>" per line.
        std::istringstream lines(run(std::string(TARN_NM " -D --defined-only ") + library.path));
        std::set<std::string> exported, expected;
        std::string value, type, name, line;
        while (lines >> value >> type >> name)
            exported.insert(name);
        std::ifstream list(std::string(TARN_SOURCE_DIR) + "/cmake/" + library.symbols);
        while (std::getline(list, line))
            if (!line.empty() && line[0] != '#')
                expected.insert(line);
        if (library.count != 0) {
            ASSERT_EQ(expected.size(), library.count);
        }
        for (const std::string& symbol : expected)
            EXPECT_EQ(symbol.find("Orvek"), std::string::npos)
                << "internal symbol listed: " << symbol;
        EXPECT_EQ(exported, expected);
        const std::string dynamic = run(std::string(TARN_OBJDUMP " -p ") + library.path);
        EXPECT_NE(dynamic.find(std::string("SONAME               ") + library.soname),
                  std::string::npos)
            << dynamic;
    }
}

} // namespace
