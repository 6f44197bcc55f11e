#pragma once

#include <QString>

class App;

// What the post engine reads from and writes to the compose dialog
// (frmPostMsg). Texts of the message box have CR LF line ends here.
class PostForm {
public:
    virtual ~PostForm() = default;
    virtual QString txtEmail() const = 0;
    virtual QString txtSubject() const = 0;
    virtual QString txtMessage() const = 0;
    virtual void setTxtMessage(const QString& text) = 0;
    virtual QString txtSig() const = 0;
    // cmdOK, txtEmail, txtMessage, txtSubject and txtName off; they stay off.
    virtual void disableForRun() = 0;
    virtual void setCancelCaption(const QString& caption) = 0;
    // Panel 1 of the dialog's status line, and its progress bar.
    virtual void setStatus(const QString& text) = 0;
    virtual void setProgress(int min, int max, int value) = 0;
    virtual void setProgressValue(int value) = 0;
};

// Posts the form's article through NNTP2, one article per group: mode 0 to
// the selected rows of lstGroups on CurrentServer, mode 1 to the selected
// favourites each on its own server, mode 2 once to CurrentGroup. Every
// attempt that reached the posting stage goes into POST.LOG.
void cmdPostMessage(App& app, PostForm& form, int mode);

// Whether the compose dialog may open for postMode; says why when not.
bool CheckWindows(App& app, int postMode);

QString postLogPath(const App& app);
