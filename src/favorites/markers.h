#pragma once

#include <QString>

class App;

// Results of a listing written back into the rows that show them.
void updateGroupMarker(App& app);
void updatePostMarker(App& app);
void updateGroupMarkerNFavs(App& app, QString groupname, int groups);
