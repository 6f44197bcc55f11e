#pragma once

class App;

// FavoritesTitle from FavoritesFile: the name without directory, cut at its
// first dot; then the favourites frame's title.
void SplitFavoritesPath(App& app);
// Saves the favourites under a name the user picks; clear empties them first.
void SaveFavMenu(App& app, bool clear);
void menuNew_Click(App& app);
void menuSave_Click(App& app);
void menuLoad_Click(App& app);
