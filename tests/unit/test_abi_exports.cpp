// The shared library's export table is an ABI: it must equal the checked-in symbol list, export
// nothing internal, and carry the SONAME applications record.
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
    if (!pipe)
        return {};
    std::string output;
    std::array<char, 4096> buffer{};
    size_t n;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0)
        output.append(buffer.data(), n);
    return output;
}

std::set<std::string> exportedSymbols() {
    // Defined dynamic symbols: "<value> <type> <name>" per line.
    std::istringstream lines(run(std::string(TARN_NM " -D --defined-only ") + TARN_SHARED_LIBRARY));
    std::set<std::string> names;
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        std::string value, type, name;
        if (fields >> value >> type >> name)
            names.insert(name);
    }
    return names;
}

std::set<std::string> checkedInSymbols() {
    std::ifstream file(std::string(TARN_SOURCE_DIR) + "/cmake/tarndll.symbols");
    std::set<std::string> names;
    std::string line;
    while (std::getline(file, line))
        if (!line.empty() && line[0] != '#')
            names.insert(line);
    return names;
}

TEST(Abi, ExportTableEqualsTheCheckedInList) {
    const std::set<std::string> exported = exportedSymbols();
    const std::set<std::string> expected = checkedInSymbols();
    ASSERT_FALSE(exported.empty()) << "nm could not read " << TARN_SHARED_LIBRARY;
    ASSERT_EQ(expected.size(), 192u);

    for (const std::string& name : expected)
        EXPECT_TRUE(exported.count(name)) << "missing export: " << name;
    for (const std::string& name : exported) {
        EXPECT_TRUE(expected.count(name)) << "unexpected export: " << name;
        EXPECT_EQ(name.find("Orvek"), std::string::npos) << "internal symbol exported: " << name;
    }
}

TEST(Abi, SharedLibraryCarriesItsSoname) {
    const std::string dynamic = run(std::string(TARN_OBJDUMP " -p ") + TARN_SHARED_LIBRARY);
    EXPECT_NE(dynamic.find("SONAME               libtarndll.so.2"), std::string::npos) << dynamic;
}

} // namespace
