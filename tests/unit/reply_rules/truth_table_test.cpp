#include <fstream>
#include <iostream>

#include <gtest/gtest.h>

#include "truth_table.h"

namespace {

TEST(TheTruthTable, SaysWhatTheLibraryDoesNow)
{
    std::ifstream file(truthTableFile());
    ASSERT_TRUE(file) << truthTableFile();
    std::istringstream now(truthTable());
    std::string committed;
    int number = 0;
    for (std::string line; std::getline(now, line);) {
        ++number;
        ASSERT_TRUE(std::getline(file, committed)) << "the file ends before: " << line;
        ASSERT_EQ(committed, line) << truthTableFile() << ':' << number;
    }
    EXPECT_FALSE(std::getline(file, committed)) << "the library no longer has: " << committed;
}

int writeTruthTable()
{
    std::ofstream file(truthTableFile(), std::ios::trunc);
    file << truthTable() << std::flush;
    if (!file) {
        std::cerr << truthTableFile() << " cannot be written\n";
        return 1;
    }
    std::cout << "written: " << truthTableFile() << '\n';
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    if (argc == 2 && std::string(argv[1]) == "--write-truth-table") {
        return writeTruthTable();
    }
    return RUN_ALL_TESTS();
}
