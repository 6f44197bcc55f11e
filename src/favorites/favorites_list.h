#pragma once

#include <QString>

class App;

// Double click or Enter on a favourite: its server, then its group's subjects.
void lstFavorites_DblClick(App& app);
// Delete removes the selected favourites and saves the file.
void lstFavorites_DeleteSelected(App& app);
void lstFavorites_SelectAll(App& app);
// A group row dropped on the favourites; carried is the dragged row's text.
void lstFavorites_Drop(App& app, const QString& carried);
