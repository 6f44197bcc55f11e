#pragma once

#include <QString>

class App;

// Switching menu items, toolbar buttons and list frames on and off.
void SetMenuItem(App& app, int item, bool isOn);
void MenuOnOff(App& app, const QString& menuType, bool isOn);
void MessagesOnOff(App& app, bool isOn);
void GroupsOnOff(App& app, bool isOn);
void FavoritesOnOff(App& app, bool isOn);
void HourGlass(App& app, bool isOn);
