// The calling frame: version record, exported symbol set, stub shape, and
// that every export reaches its tier function.
#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>

#include "celcc.h"
#include "common/export_list.h"

namespace {

TEST(Version, RecordFieldsAndTexts) {
    const CelLibVersion* v = celccGetLibVersion();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->releaseMajor, 2019);
    EXPECT_EQ(v->releaseMinor, 0);
    EXPECT_EQ(v->releaseUpdate, 0);
    EXPECT_EQ(v->revision, 59881);
    EXPECT_EQ(0, std::memcmp(v->tierTag, "y8\0\0", 4));
    EXPECT_STREQ(v->tierTag, "y8");
    EXPECT_STREQ(v->libraryLabel, "celCC SSE4.2 (y8)");
    EXPECT_STREQ(v->versionLabel, "2019.0.0 Gold (r59881)");
    EXPECT_STREQ(v->buildDateLabel, "Jul 12 2018");
    for (int i = 0; i < 100; ++i) ASSERT_EQ(celccGetLibVersion(), v);  // the same record every call
}

// Defined global symbols of the shared object's dynamic symbol table.
std::set<std::string> dynamicExports(const char* path) {
    std::ifstream f(path, std::ios::binary);
    std::vector<char> img((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    std::set<std::string> out;
    if (img.size() < sizeof(Elf64_Ehdr)) return out;
    const auto* eh = reinterpret_cast<const Elf64_Ehdr*>(img.data());
    if (std::memcmp(eh->e_ident, ELFMAG, SELFMAG) != 0 || eh->e_ident[EI_CLASS] != ELFCLASS64) return out;
    const auto* sh = reinterpret_cast<const Elf64_Shdr*>(img.data() + eh->e_shoff);
    for (int i = 0; i < eh->e_shnum; ++i) {
        if (sh[i].sh_type != SHT_DYNSYM) continue;
        const char* strtab = img.data() + sh[sh[i].sh_link].sh_offset;
        const auto* sym = reinterpret_cast<const Elf64_Sym*>(img.data() + sh[i].sh_offset);
        const size_t n = sh[i].sh_size / sizeof(Elf64_Sym);
        for (size_t k = 0; k < n; ++k) {
            const int bind = ELF64_ST_BIND(sym[k].st_info);
            if (sym[k].st_shndx == SHN_UNDEF || (bind != STB_GLOBAL && bind != STB_WEAK)) continue;
            out.insert(strtab + sym[k].st_name);
        }
    }
    return out;
}

TEST(Exports, SharedObjectExportsExactlyTheList) {
    const std::set<std::string> actual = dynamicExports(CELCC_SO_PATH);
    ASSERT_FALSE(actual.empty()) << "could not read the dynamic symbols of " << CELCC_SO_PATH;
    const std::set<std::string> expected(celtest::exportNames().begin(), celtest::exportNames().end());
    EXPECT_EQ(expected.size(), celtest::exportNames().size()) << "a name stands twice in the export list";
    std::vector<std::string> missing, extra;
    std::set_difference(expected.begin(), expected.end(), actual.begin(), actual.end(), std::back_inserter(missing));
    std::set_difference(actual.begin(), actual.end(), expected.begin(), expected.end(), std::back_inserter(extra));
    EXPECT_TRUE(missing.empty()) << "not exported: " << ::testing::PrintToString(missing);
    EXPECT_TRUE(extra.empty()) << "exported but not in the list: " << ::testing::PrintToString(extra);
}

// Every export carries one line of reference text (the header, the command
// line tool and the Python binding show it), and is a single indirect jump
// through a RIP-relative slot: FF 25 disp32, i.e. jmp *slot(%rip).
TEST(Exports, EveryExportHasOneDocLineAndIsOneIndirectJump) {
    for (const auto& e : celtest::exportEntries()) {
        const std::string doc = e.doc;
        EXPECT_GE(doc.size(), 12u) << e.name << " has no doc line";
        EXPECT_EQ(doc.find('\n'), std::string::npos) << e.name << ": the doc line must be one line";
        const auto* code = static_cast<const uint8_t*>(e.address);
        EXPECT_TRUE(code[0] == 0xFF && code[1] == 0x25) << e.name << " does not start with jmp *rel32(%rip)";
    }
}

// Calling an export with every argument zero reaches its tier function,
// whose first check answers.  Families whose first check is not the pointer
// test say so here.
TEST(Exports, EveryExportReachesItsTierFunction) {
    const auto& firstCheck = celtest::firstCheckExceptions();
    for (const auto& e : celtest::exportEntries()) {
        const auto it = firstCheck.find(e.name);
        const int expected = it != firstCheck.end() ? it->second : celStatusNullPointer;
        EXPECT_EQ(e.callZeros(), expected) << e.name;
    }
}

}  // namespace
