// The shared library's export table is an ABI: it must equal the checked-in symbol list (which
// never grows and names nothing internal) and carry the SONAME applications record.
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

TEST(Abi, ExportTableEqualsTheCheckedInListAndCarriesTheSoname) {
    // Defined dynamic symbols: "<value> <type> <name>" per line.
    std::istringstream lines(run(std::string(TARN_NM " -D --defined-only ") + TARN_SHARED_LIBRARY));
    std::set<std::string> exported, expected;
    std::string value, type, name, line;
    while (lines >> value >> type >> name)
        exported.insert(name);
    std::ifstream list(std::string(TARN_SOURCE_DIR) + "/cmake/tarndll.symbols");
    while (std::getline(list, line))
        if (!line.empty() && line[0] != '#')
            expected.insert(line);
    ASSERT_EQ(expected.size(), 192u);
    for (const std::string& symbol : expected)
        EXPECT_EQ(symbol.find("Orvek"), std::string::npos) << "internal symbol listed: " << symbol;
    EXPECT_EQ(exported, expected);

    const std::string dynamic = run(std::string(TARN_OBJDUMP " -p ") + TARN_SHARED_LIBRARY);
    EXPECT_NE(dynamic.find("SONAME               libtarndll.so.2"), std::string::npos) << dynamic;
}

} // namespace
