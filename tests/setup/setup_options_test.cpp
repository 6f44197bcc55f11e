// The number fields of the setup dialog, without a window.
#include "fixtures/test_app.h"
#include "setup/setup_options.h"

#include <gtest/gtest.h>

namespace {

// Timeout turns what is no number or above 32767 into 255; MinGroups cuts a
// leading number above 32767 and keeps a text that is no number, leaving the
// variable as it was (30 and 7). Halves go to the even neighbour.
TEST(NumberFields, LeavingAFieldShowsAndTakesItsValue) {
    struct Case {
        const char* typed;
        const char* timeoutShown;
        qint32 timeout;
        const char* minShown;
        qint32 minGroups;
    };
    const Case cases[] = {{"32767", "32767", 32767, "32767", 32767},
                          {"32768", "255", 255, "32767", 32767},
                          {"", "255", 255, "", 7},
                          {"K", "255", 255, "K", 7},
                          {"1K", "255", 255, "1K", 7},
                          {".", "255", 255, ".", 7},
                          {"45", "45", 45, "45", 45},
                          {"0", "0", 0, "0", 0},
                          {"1E3", "1E3", 1000, "1E3", 1000},
                          {"1D2", "1D2", 100, "1D2", 100},
                          {"4E4", "255", 255, "32767", 32767},
                          {"1E9", "255", 255, "32767", 32767},
                          {"12.5", "12.5", 12, "12.5", 12},
                          {"13.5", "13.5", 14, "13.5", 14},
                          {".5", ".5", 0, ".5", 0},
                          {"1E", "255", 255, "1E", 7},
                          {"3..", "255", 255, "3..", 7},
                          {"12AB", "255", 255, "12AB", 7},
                          {"40000AB", "255", 255, "32767", 32767}};
    for (const Case& c : cases) {
        App app;
        app.Timeout = 30;
        app.MinGroups = 7;
        EXPECT_EQ(txtTimeout_LostFocus(app, c.typed), c.timeoutShown) << '"' << c.typed << '"';
        EXPECT_EQ(app.Timeout, c.timeout) << '"' << c.typed << '"';
        EXPECT_EQ(txtMinGroups_LostFocus(app, c.typed), c.minShown) << '"' << c.typed << '"';
        EXPECT_EQ(app.MinGroups, c.minGroups) << '"' << c.typed << '"';
    }
}

TEST(NumberFields, AcceptBackspaceEnterDotAndZeroToCapitalK) {
    QString accepted;
    for (char16_t c = 0; c < 128; ++c)
        if (numberFieldAccepts(c)) accepted += QChar(c);
    EXPECT_EQ(accepted, QString("\b\r.0123456789:;<=>?@ABCDEFGHIJK"));
}

} // namespace
