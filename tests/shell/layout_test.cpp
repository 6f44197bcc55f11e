// The main window's layout in twips.
#include "fixtures/printers.h"
#include "shell/app.h"
#include "shell/layout.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

#include <tuple>

namespace {

using Geometry = std::tuple<double, double, double, double>; // left, top, width, height

auto formGeometry(App& app) {
    return std::tie(app.FormLeft, app.FormTop, app.FormWidth, app.FormHeight);
}

// On a screen of 30000 by 20000 twips: a window under 9000 by 6000 grows to
// it, one whose corner is off the screen (or within 100 of its far edges)
// comes back to 100; a minimised one is neither moved nor laid out.
TEST(Layout, MinimumSizeOffScreenRescueAndNothingWhileMinimised) {
    const std::tuple<int, Geometry, Geometry> cases[] = {
        {0, {500, 500, 8999, 5999}, {500, 500, 9000, 6000}},
        {0, {29900, 19900, 12000, 9000}, {100, 100, 12000, 9000}},
        {0, {29899, 19899, 12000, 9000}, {29899, 19899, 12000, 9000}},
        {0, {50, -300, 12000, 9000}, {100, 100, 12000, 9000}},
        {1, {-50, 40000, 500, 400}, {-50, 40000, 500, 400}}};
    for (const auto& [state, given, expected] : cases) {
        App app;
        app.ScreenWidth = 30000;
        app.ScreenHeight = 20000;
        app.WindowState = state;
        formGeometry(app) = given;
        QSignalSpy geometry(&app, &App::geometryChanged);
        Form_Resize(app);
        const auto [l, t, w, h] = given;
        SCOPED_TRACE(testing::Message()
                     << "state " << state << ", " << l << "," << t << " " << w << "x" << h);
        EXPECT_EQ(Geometry(formGeometry(app)), expected);
        const bool laidOut = state != 1;
        EXPECT_EQ(geometry.count(), laidOut ? 1 : 0);
        EXPECT_EQ(app.frame(Frame::Favorites).rect.isNull(), !laidOut);
        EXPECT_EQ(app.statbarWidths[3] == 0, !laidOut);
    }
}

} // namespace
