#include "shell/layout.h"

#include "shell/app.h"

namespace {

// Heights of the progress band as designed.
constexpr double kProgFrameHeight = 500;
constexpr double kProgBarTop = 150;
constexpr double kProgBarHeight = 250;

QRectF place(double left, double top, double width, double height) {
    return QRectF(left, top, width < 0 ? 0 : width, height < 0 ? 0 : height);
}

} // namespace

void Form_Resize(App& app) {
    if (app.WindowState == 1) return;
    if (app.FormWidth < 9000) app.FormWidth = 9000;
    if (app.FormHeight < 6000) app.FormHeight = 6000;
    if (app.FormLeft < 100) app.FormLeft = 100;
    if (app.FormTop < 100) app.FormTop = 100;
    if (app.FormTop >= app.ScreenHeight - 100) app.FormTop = 100;
    if (app.FormLeft >= app.ScreenWidth - 100) app.FormLeft = 100;

    const double W = app.FormWidth;
    const double H = app.FormHeight;

    FrameState& fav = app.frame(Frame::Favorites);
    fav.rect = place(10, 630, W * 0.8, H * 0.2);
    fav.listRect = place(100, 300, fav.rect.width() - 200, fav.rect.height() - 350);

    FrameState& prev = app.frame(Frame::Preview);
    prev.rect = place(fav.rect.left() + fav.rect.width() + 25, 630, W - (fav.rect.width() + 190),
                      fav.rect.height());
    prev.listRect = place(100, 250, prev.rect.width() - 200, prev.rect.height() - 350);

    const double band2Top = fav.rect.top() + fav.rect.height() + 25;
    for (Frame f : {Frame::Messages, Frame::Groups}) {
        FrameState& fr = app.frame(f);
        fr.rect = place(10, band2Top, W - 150, H * 0.35);
        fr.listRect = place(100, 300, fr.rect.width() - 200, fr.rect.height() - 400);
    }
    const FrameState& groups = app.frame(Frame::Groups);

    FrameState& prog = app.frame(Frame::Prog);
    prog.rect =
        place(1, groups.rect.top() + groups.rect.height(), groups.rect.width(), kProgFrameHeight);
    prog.listRect = place(100, kProgBarTop, prog.rect.width() - 200, kProgBarHeight);
    const double progBottom = prog.rect.top() + prog.rect.height();

    FrameState& files = app.frame(Frame::Files);
    files.rect = place(10, progBottom, W * 0.35, H - (progBottom + 1100));
    files.listRect = place(100, 200, files.rect.width() - 200, files.rect.height() - 250);

    FrameState& http = app.frame(Frame::HTTP);
    http.rect = place(files.rect.left() + files.rect.width() + 25, progBottom,
                      W - (files.rect.left() + files.rect.width() + 150), H - (progBottom + 1100));
    http.listRect = place(100, 200, http.rect.width() - 200, http.rect.height() - 250);

    app.statbarWidths = {0, (W - 1800) * 0.56 - 350, (W - 1800) * 0.46 - 350, 1800};
    emit app.geometryChanged();
}

void UpdateListTitles(App& app, const QString& code) {
    auto n = [](const ListModel& l) { return QString::number(l.count()); };
    Frame target;
    QString text;
    if (code == QLatin1String("0")) {
        target = Frame::Favorites;
        text = "Favorite Groups [" + app.FavoritesTitle + "] (" + n(app.lstFavorites) + ")";
    } else if (code == QLatin1String("1")) {
        target = Frame::Messages;
        text = "Available Messages (" + n(app.lstMessages) + ")  Group : " + app.CurrentGroup;
    } else if (code == QLatin1String("2")) {
        target = Frame::Groups;
        text = "Available Groups : " + app.CurrentServer + " (" + n(app.lstGroups) + ")";
    } else if (code == QLatin1String("3")) {
        target = Frame::Files;
        text = "Decoded Files (" + n(app.lstFiles) + ")";
    } else if (code == QLatin1String("4")) {
        target = Frame::HTTP;
        text = "HTTP Addresses (" + n(app.lstHTTP) + ")";
    } else if (code == QLatin1String("5")) {
        app.Caption = "Zanderfell! v2.5 (" + app.CurrentServer + ") ";
        emit app.captionChanged();
        return;
    } else if (code == QLatin1String("6")) {
        target = Frame::HTTP;
        text = "Found/Status (" + n(app.lstHTTP) + ")";
    } else if (code == QLatin1String("7")) {
        target = Frame::Favorites;
        text = "Checking " + n(app.lstFavorites) + " Servers";
    } else if (code == QLatin1String("8")) {
        target = Frame::NNTP;
        text = "NNTP Servers (" + n(app.txtNNTPServ) + ")";
    } else if (code == QLatin1String("9")) {
        target = Frame::HTTP;
        text = "Email Addresses (" + n(app.lstHTTP) + ")";
    } else {
        return;
    }
    app.frame(target).title = text;
    emit app.frameChanged(target);
}
