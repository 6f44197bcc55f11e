#pragma once

class App;

// FavoritesTitle from FavoritesFile: the name without directory, cut at its
// first dot; then the favourites frame's title.
void SplitFavoritesPath(App& app);
