#include "support/quick_help_window.h"

#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {

struct Topic {
    const char* heading;
    const char* text;
};

struct Tab {
    const char* caption;
    std::initializer_list<Topic> topics;
};

const Tab kTabs[] = {
    {"Connecting",
     {{"Connecting to a Server",
       "Press the Connect button on the toolbar. Zanderfell! connects to the server whose name "
       "stands in the title bar and lists the groups it carries."},
      {"Selecting a Server",
       "Press the Setup button to see your servers, those with the most groups first. The status "
       "column tells you whether a server lets you post."},
      {"What is a News Server Anyway?",
       "A news server keeps discussion groups sorted by topic. No two servers carry quite the "
       "same groups, so it pays to try more than one."}}},
    {"Group List",
     {{"What is a Group List?",
       "The group list holds every group of the server. The first part of a name tells the kind "
       "of group: alt.binaries groups carry files, comp groups computers, rec groups hobbies. Use "
       "Find to look for groups with a word in their name."},
      {"Entering a Group to Read Messages",
       "Double-click a group to list its messages. Drag the group's name to the favorites to "
       "keep it for next time."},
      {"Group Display", "The number beside a group is the number of messages it holds."}}},
    {"Messages",
     {{"Reading Messages",
       "Click a message with the right mouse button, or press the View button, to read it."},
      {"Posting Messages",
       "Press the Post button to write a message, on servers that allow posting. Your name, "
       "address and subject are remembered for the next message."},
      {"Replying to a Message",
       "The Reply menu of the message window answers in the group for all to read; it does not "
       "send mail."},
      {"Previous/Next Message",
       "Previous and Next walk through the messages without closing the message window."}}},
    {"Downloading",
     {{"What are Attachments?",
       "Attachments are files sent inside messages as encoded text. Zanderfell! decodes them and "
       "saves the files for you."},
      {"How Do I Download?",
       "Double-click a message to fetch its attachment. Pictures show in the preview, other files "
       "join the list of saved files; double-click a file there to open it."},
      {"Where Does it Save my Downloads?",
       "In the download directory, which you choose in the Setup dialog."}}},
    {"Advanced",
     {{"Finding Groups on Different Servers",
       "Select servers and search them for a group; each one found is added to your favorites. "
       "Saved group lists make later searches fast."},
      {"Auto Download",
       "Schedule Auto Download fetches all attachments of your favorites at the time and on the "
       "days you choose. Zanderfell! must be running and minimised then."},
      {"Checking and Verifying Servers",
       "Select servers and choose Check and Verify in the Advanced menu to test them again."}}},
};

QWidget* page(const Tab& tab) {
    QString html;
    for (const Topic& t : tab.topics)
        html += QStringLiteral("<h3>%1</h3><p>%2</p>")
                    .arg(QString::fromLatin1(t.heading).toHtmlEscaped(),
                         QString::fromLatin1(t.text).toHtmlEscaped());
    auto* text = new QLabel(html);
    text->setTextFormat(Qt::RichText);
    text->setWordWrap(true);
    text->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    text->setMargin(8);
    return text;
}

} // namespace

QuickHelpWindow::QuickHelpWindow(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("frmQuickHelp"));
    setWindowTitle(QStringLiteral("Zanderfell! - Quick Help"));
    auto* heading = new QLabel(QStringLiteral("Quick Help"), this);
    QFont big = heading->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    heading->setFont(big);
    tabs_ = new QTabWidget(this);
    tabs_->setObjectName(QStringLiteral("SSTab1"));
    for (const Tab& t : kTabs)
        tabs_->addTab(page(t), QString::fromLatin1(t.caption));
    auto* ok = new QPushButton(QStringLiteral("&OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    auto* all = new QVBoxLayout(this);
    all->addWidget(heading);
    all->addWidget(tabs_, 1);
    all->addWidget(ok, 0, Qt::AlignRight);
    resize(520, 420);
}

QuickHelpWindow* menuQuickHelp_Click(QWidget* parent) {
    auto* w = parent ? parent->findChild<QuickHelpWindow*>(QString(), Qt::FindDirectChildrenOnly)
                     : nullptr;
    if (!w) {
        w = new QuickHelpWindow(parent);
        w->setAttribute(Qt::WA_DeleteOnClose);
    }
    w->show();
    w->raise();
    w->activateWindow();
    return w;
}
