#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

class App;

// The next field of an import file from pos on: fields end at a comma or a
// line end (CR, LF or CR LF); blanks before a field are skipped; a field that
// opens with a double quote runs to the next double quote, commas and line
// ends included, and what follows the closing quote up to the field's end is
// dropped. Returns the position after the field, or -1 when the text is used up.
qsizetype nextImportField(QStringView text, qsizetype pos, QString& field);
// Every field of a text, in order; empty ones included.
QStringList readImportFields(QStringView text);
// A field as a server address: blanks trimmed, then cut at the first blank,
// CR LF, LF and tab, in that order. Empty when nothing is left.
QString cleanImportField(QStringView field);

// Adds the addresses of a text file to txtNNTPServ: each cleaned field with a
// "." that no row contains yet. Rows read before a read error stay.
void importServerFile(App& app, const QString& path);

// Toolbar "Import": asks for a text file, adds its addresses, saves the list.
void cmdImport(App& app);
// Toolbar "Export": writes every row as it stands to a text file of the user's choice.
void cmdExport(App& app);
