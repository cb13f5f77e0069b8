#include "support/FakeAlertPresenter.h"
#include "support/LoopbackServers.h"
#include "support/TestEnvironment.h"

#include "platform/PropertyList.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "scheduler/views/ErrorReportWindow.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(ErrorReportWindowTest, SendShowsTheReportWithTheHomeFolderMaskedAndCancelPostsNothing)
{
    TestEnvironment env;
    // A service nobody answers at: a post would end in the failure message.
    QTemporaryDir resources;
    QVariantMap strings = StringTable::shared().strings();
    strings.insert(u"NotificationServiceURL"_s, u"http://127.0.0.1:%1"_s.arg(freeLoopbackPort()));
    ASSERT_TRUE(
        writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
    StringTable::install(u"corvane"_s, resources.path());
    ASSERT_TRUE(PropertyList::writeDictionary(BrandPaths::loginDetails(),
                                              {{u"CorvaneUsername"_s, u"ann@example.com"_s}}));
    const QString home = env.home();
    env.writeFile(
        u"~/Library/Application Support/CorvanePortableforMac/Logs/InteractiveTrace.log"_s,
        (u"opened "_s + home + u"/notes.txt"_s).toUtf8());

    FakeAlertPresenter alerts;
    QNetworkAccessManager network;
    ErrorReport report;
    ErrorReportWindow window;
    report.setPresenter(&window);
    report.setAlertPresenter(&alerts);
    report.setNetwork(&network);
    report.showErrorReport();
    QWidget *form = window.window();
    ASSERT_TRUE(form && form->isVisible());
    EXPECT_EQ(form->findChild<QLabel *>(u"stelloaUserNameField"_s)->text(), u"ann@example.com"_s);
    form->findChild<QLineEdit *>(u"userEmailIdField"_s)->setText(u"ann@example.com"_s);
    form->findChild<QPlainTextEdit *>(u"messageTextArea"_s)->setPlainText(u"Stuck in "_s + home);

    QString previewed;
    QTimer::singleShot(0, [&previewed] {
        auto *preview = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        ASSERT_TRUE(preview);
        previewed = preview->findChild<QPlainTextEdit *>(u"reportPreviewText"_s)->toPlainText();
        preview->findChild<QPushButton *>(u"cancelReportButton"_s)->click();
    });
    form->findChild<QPushButton *>(u"sendButton"_s)->click();
    EXPECT_TRUE(previewed.contains(u"\nopened ~/notes.txt\n"_s)) << previewed.toStdString();
    EXPECT_TRUE(previewed.contains(u"\nStuck in "_s + home + u'\n')) << "the user's own words stay";
    EXPECT_TRUE(alerts.shown().isEmpty());
    EXPECT_TRUE(form->isVisible());
    EXPECT_FALSE(form->findChild<QProgressBar *>(u"sendErrorProgressIndicator"_s)->isVisible());
    StringTable::install(u"corvane"_s);
}

} // namespace
