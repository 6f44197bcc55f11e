#include "shell/gating.h"

#include "shell/app.h"
#include "shell/menu_table.h"

void SetMenuItem(App& app, int item, bool isOn) {
    const bool known = findMenuItem(item) != nullptr;
    if (known) {
        app.menuEnabled[item] = isOn;
        emit app.menuChanged(item);
    }
    if (item < 30) {
        if (known && item <= kToolbarButtons) {
            app.toolbar[item].enabled = isOn;
            emit app.toolbarChanged(item);
        }
        // The toolbar is repainted even for a number no button has.
        emit app.toolbarRepaint();
    }
}

void MenuOnOff(App& app, const QString& menuType, bool isOn) {
    for (int item : menuScope(menuType))
        SetMenuItem(app, item, isOn);
}

void MessagesOnOff(App& app, bool isOn) {
    app.lstMessages.setEnabled(isOn);
    app.lstMessages.setVisible(isOn);
    FrameState& f = app.frame(Frame::Messages);
    f.enabled = isOn;
    f.visible = isOn;
    emit app.frameChanged(Frame::Messages);
}

void GroupsOnOff(App& app, bool isOn) {
    app.lstGroups.setEnabled(isOn);
    app.lstGroups.setVisible(isOn);
    FrameState& f = app.frame(Frame::Groups);
    f.enabled = isOn;
    f.visible = isOn;
    emit app.frameChanged(Frame::Groups);
}

void FavoritesOnOff(App& app, bool isOn) {
    app.lstFavorites.setEnabled(isOn);
    app.frame(Frame::Favorites).enabled = isOn;
    emit app.frameChanged(Frame::Favorites);
}

void HourGlass(App& app, bool isOn) {
    if (app.hourGlass == isOn) return;
    app.hourGlass = isOn;
    emit app.hourGlassChanged(isOn);
}
