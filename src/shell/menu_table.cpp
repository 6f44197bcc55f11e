#include "shell/menu_table.h"

const std::vector<MenuDef>& menuTable() {
    static const std::vector<MenuDef> menus = {
        {"&File",
         nullptr,
         {
             {0, "menuNew", "&New Favorites File", "", true, false},
             {51, "menuLoad", "&Load Favoites", "", true, false},
             {51, "menuSave", "S&ave Favorites", "", true, false},
             {0, "menuOpenNzb", "&Open NZB...", "Ctrl+O", true, true},
             {0, "menuSaveNzb", "Save Selected as N&ZB...", "", true, false},
             {2, "menuSetup", "&Setup", "", true, true},
             {15, "menuExit", "E&xit", "Ctrl+X", true, true},
         }},
        {"&Edit",
         nullptr,
         {
             {30, "menuFind", "&Find", "Ctrl+F", true, false},
             {31, "menuFindNext", "Find &Next", "F3", true, false},
         }},
        {"&Connection",
         nullptr,
         {
             {6, "menuConnect", "&Connect to Server", "", true, false},
             {4, "menuGroup", "&Groups", "F6", false, false},
             {5, "menuStop", "&Stop Transaction", "", false, false},
         }},
        {"&Retreive",
         nullptr,
         {
             {9, "menuDownloadAll", "&All Attachments", "F2", false, false},
             {8, "menuDownload", "from Selected Messages", "F4", false, false},
             {32, "menuDowloadAllF", "from Selected &Favorite Groups", "", true, false},
             {10, "menuView", "&View Message Contents (right-Click)", "F5", false, true},
             {52, "menuRefreshM", "&Refresh Message List", "F7", false, true},
             {53, "menuRefreshG", "Refresh &Group List", "F8", false, false},
             {0, "menuPreviewL", "&Large Image Preview", "", true, true},
             {0, "menuPreview", "&Preview Incoming Images", "", true, false},
         }},
        {"&Post",
         nullptr,
         {
             {11, "menuPostC", "to Current Group", "", false, false},
             {33, "menuPostG", "to Selected Groups", "", false, false},
             {34, "menuPostF", "to Selected &Favorites", "", true, false},
         }},
        {"&Advanced", nullptr, {}},
        {"Find &Group",
         "&Advanced",
         {
             {47, "menuScan", "in &Selected Servers (add to Favorites)", "", true, false},
             {0, "menuScanE", "in Se&lected Servers (add to Favories Exclusively)", "", true,
              false},
             {48, "menuScanRandom", "in S&elected Servers, Random Group (add to Favorites)", "",
              true, false},
         }},
        {"Find &Web/FTP Addresses",
         "&Advanced",
         {
             {39, "menuWebC", "in &Current Group", "", false, false},
             {40, "menuWebG", "in &Selected Groups", "", false, false},
             {41, "menuWebF", "in Selected &Favorites", "", true, false},
             {42, "menuWebM", "in Selected &Messages", "", false, false},
         }},
        {"F&ind Servers",
         "&Advanced",
         {
             {43, "menuServC", "in &Current Group", "", false, false},
             {44, "menuServG", "in &Selected Groups", "", false, false},
             {46, "menuServF", "in Selected &Favorites", "", true, false},
             {45, "menuServS", "in S&elected Servers", "", true, false},
         }},
        {"Find &Email Addresses",
         "&Advanced",
         {
             {35, "menuEmailC", "in &Current Group", "", false, false},
             {36, "menuEmailG", "in &Selected Groups", "", false, false},
             {37, "menuEmailF", "in Selected &Favorites", "", true, false},
             {38, "menuEmailS", "in S&elected Servers", "", true, false},
         }},
        {"&Advanced",
         nullptr,
         {
             {49, "menuGen", "&Generate List of Groups on Selected Servers", "", true, true},
             {0, "menuAuto", "&Schedule Auto Download", "", true, false},
             {50, "menuCheck", "Check and Verify &Selected Servers", "", true, false},
         }},
        {"&Help",
         nullptr,
         {
             {0, "menuQuickHelp", "&Quick Help", "F1", true, false},
             {0, "menuAbout", "&About", "", true, false},
         }},
    };
    return menus;
}

const MenuItemDef* findMenuItem(int number) {
    if (number <= 0) return nullptr;
    for (const MenuDef& m : menuTable())
        for (const MenuItemDef& i : m.items)
            if (i.number == number) return &i;
    return nullptr;
}

std::vector<int> menuScope(const QString& code) {
    if (code == QLatin1String("CG")) return {39, 35, 11, 43};
    if (code == QLatin1String("SG")) return {40, 36, 33, 44};
    if (code == QLatin1String("FA")) return {41, 37, 34, 46, 32, 51};
    if (code == QLatin1String("SM")) return {42};
    if (code == QLatin1String("SS")) return {38, 45};
    if (code == QLatin1String("SR")) return {47, 48, 49, 50};
    return {};
}

const std::vector<ToolButtonDef>& toolbarTable() {
    static const std::vector<ToolButtonDef> buttons = {
        {2, "Setup", 1}, {4, "Groups", 2}, {5, "Stop", 3},  {6, "Connect", 4}, {8, "Download", 6},
        {9, "All", 7},   {10, "View", 8},  {11, "Post", 9}, {13, "Links", 10},
    };
    return buttons;
}
