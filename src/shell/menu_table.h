#pragma once

#include <QString>
#include <vector>

// One item of the main window's menus. number is what SetMenuItem knows the
// item by; 0 for the items that are never switched.
struct MenuItemDef {
    int number;
    const char* control;
    const char* caption;
    const char* shortcut; // in QKeySequence's portable form, empty for none
    bool startsEnabled;
    bool separatorBefore;
};

// A top-level menu, or a submenu when parent is set.
struct MenuDef {
    const char* caption;
    const char* submenuOf; // caption of the parent menu, or nullptr
    std::vector<MenuItemDef> items;
};

// The menus in the order they stand in the menu bar.
const std::vector<MenuDef>& menuTable();
// Every numbered item, once; item 51 is two menu items with one number.
const MenuItemDef* findMenuItem(int number);
// The items of a scope code, in the order MenuOnOff switches them.
std::vector<int> menuScope(const QString& code);

// The toolbar buttons that act, by number: caption and picture.
struct ToolButtonDef {
    int number;
    const char* caption;
    int image;
};
const std::vector<ToolButtonDef>& toolbarTable();
constexpr int kToolbarButtons = 14;
