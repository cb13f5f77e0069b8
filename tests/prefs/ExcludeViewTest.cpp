#include "prefs/ExcludeViewController.h"
#include "prefs/UserPreferences.h"
#include "prefs/views/ExcludeView.h"
#include "prefs/views/KeyDownInTableView.h"
#include "support/TestEnvironment.h"

#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

void press(QWidget *widget, Qt::Key key, const QString &text = QString())
{
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, text);
    QApplication::sendEvent(widget, &down);
    QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier, text);
    QApplication::sendEvent(widget, &up);
    QApplication::processEvents(); // an editor commits and closes on the next turn of the loop
}

QStringList partialNames()
{
    return UserPreferences(u"ann"_s).partialFileExclusion().keys();
}

TEST(ExcludeView, AUserNamesAPartialPathAndDeletesItWithTheKeyboard)
{
    TestEnvironment env;
    ExcludeViewController controller;
    controller.userInfo().setUserName(u"ann"_s);
    controller.loadExcludeSet();
    ExcludeView view(&controller);
    view.show();
    auto *add = qobject_cast<QAbstractButton *>(view.control("addToPartialExclusionListButton"));
    auto *remove = qobject_cast<QAbstractButton *>(view.control("removeFromPartialExclusionListButton"));
    KeyDownInTableView *table = view.partialPathTable();
    ASSERT_TRUE(add && remove && table);
    EXPECT_FALSE(remove->isEnabled());
    EXPECT_EQ(table->iconSize(), QSize(16, 16));

    add->click();
    EXPECT_FALSE(add->isEnabled()) << "one unnamed row at a time";
    auto *editor = table->viewport()->findChild<QLineEdit *>();
    ASSERT_TRUE(editor) << "the new row is being edited";
    EXPECT_EQ(editor->selectedText(), u"New Item"_s);
    for (const QChar c : u".cache"_s)
        press(editor, Qt::Key_unknown, QString(c));
    press(editor, Qt::Key_Return);
    EXPECT_TRUE(add->isEnabled());
    EXPECT_EQ(partialNames(), (QStringList{u".cache"_s, u"/CorvaneLumen"_s}));

    // The default fragment cannot be deleted; the user's can, with either key.
    table->selectRow(0);
    EXPECT_FALSE(remove->isEnabled());
    press(table, Qt::Key_Delete);
    EXPECT_EQ(controller.rows(ExcludeViewController::PartialPathTable).size(), 2);
    table->selectRow(1);
    EXPECT_TRUE(remove->isEnabled());
    press(table, Qt::Key_Delete);
    EXPECT_EQ(partialNames(), QStringList{u"/CorvaneLumen"_s});
    EXPECT_FALSE(table->selectionModel()->hasSelection());
    EXPECT_FALSE(remove->isEnabled());

    add->click();
    press(table->viewport()->findChild<QLineEdit *>(), Qt::Key_Escape);
    EXPECT_FALSE(add->isEnabled()) << "an unnamed row left behind still counts";
    table->selectRow(1);
    press(table, Qt::Key_Backspace);
    EXPECT_EQ(partialNames(), QStringList{u"/CorvaneLumen"_s});
    EXPECT_TRUE(add->isEnabled());
}

TEST(ExcludeView, DefaultPathsKeepAFixedBoxAndTheUsersOwnCanBeUnchecked)
{
    TestEnvironment env;
    UserPreferences(u"ann"_s).store({{UserPreferences::kUserSpecifiedExclusion, QVariantMap{{u"/mine"_s, 1}}}});
    ExcludeViewController controller;
    controller.userInfo().setUserName(u"ann"_s);
    controller.loadExcludeSet();
    ExcludeView view(&controller);
    view.show();
    QAbstractItemModel *model = view.wholePathTable()->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        const QModelIndex box = model->index(row, SourceListTableModel::StateColumn);
        const bool mine = model->index(row, SourceListTableModel::PathColumn).data() == u"/mine"_s;
        EXPECT_EQ(model->setData(box, Qt::Unchecked, Qt::CheckStateRole), mine) << row;
        EXPECT_EQ(box.data(Qt::CheckStateRole), QVariant(mine ? Qt::Unchecked : Qt::Checked)) << row;
    }
    EXPECT_EQ(UserPreferences(u"ann"_s).userSpecifiedExclusion(), (QVariantMap{{u"/mine"_s, 0}}));
    auto *hidden = qobject_cast<QAbstractButton *>(view.control("excludeCheckbox"));
    ASSERT_TRUE(hidden && hidden->isChecked());
    hidden->click();
    EXPECT_FALSE(UserPreferences::enableExcludeHiddenFiles());
}

} // namespace
