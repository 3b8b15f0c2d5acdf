// A host's locale changes nothing. The locale of the C library comes with the system's own means in
// reader_posix_test.cpp; here are those that every system has.
#include <gtest/gtest.h>

#include <clocale>
#include <locale>
#include <string>

#include "params/prm_file.h"

namespace {

using namespace prm_test;

class CommaPunctuation : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

class WideCommaPunctuation : public std::numpunct<wchar_t> {
protected:
    wchar_t do_decimal_point() const override { return L','; }
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
};

class GlobalLocale : public ParamsTest {
protected:
    void SetUp() override
    {
        const std::locale narrow(std::locale::classic(), new CommaPunctuation);
        m_before = std::locale::global(std::locale(narrow, new WideCommaPunctuation));
    }
    void TearDown() override { std::locale::global(m_before); }

    std::locale m_before;
};

// Pins [c-locale].
TEST_F(GlobalLocale, ofStreamsWithADecimalCommaChangesNoRead)
{
    PrmValues values = firstSensor(9);
    values.id = 1234567; // a grouped number would make another file name
    const unsigned long id = 1234567;
    writeFile(m_dir.path() / "Tg1234567.prm", PrmFile(values).text());
    CKorPrm prm;
    ASSERT_EQ(readHere(prm, id), kSuccess);
    expectSame(snapshot(prm), expected(values));
}

TEST_F(GlobalLocale, ofStreamsWithADecimalCommaStillEndsANumberAtTheComma)
{
    PrmFile file(firstSensor(9));
    file[27].body = "1,5\t2,5\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    PrmValues wanted = firstSensor(9);
    wanted.dynamic = {1.0F};
    expectSame(snapshot(prm), expected(wanted));
}

TEST(ProcessLocale, isLeftAsTheHostHasSetIt)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const TempDir dir;
    writeFile(dir.path() / "Tg17.prm", PrmFile(firstSensor(9)).text());
    CKorPrm prm;
    ASSERT_EQ(prm.ReadCalibrationFile(dir.path().wstring().c_str(), 17), kSuccess);
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
    EXPECT_EQ(std::locale(), std::locale::classic());
}

} // namespace
