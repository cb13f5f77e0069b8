#pragma once

#include "ExcludeOpenPanelPresenter.h"
#include "ExcludedFolderSizes.h"
#include "SourceListNode.h"
#include "SourceListTableModel.h"
#include "User.h"

#include <QIcon>
#include <QList>
#include <QObject>
#include <QStringList>

#include <functional>

class DistributedNotificationCenter;

// The exclusion pane: whole paths (the system's default folders and the user's own picks) and
// partial paths (fragments excluding every path containing them), each with an on/off state,
// kept in the account's preference dictionary. Other programs of the product hear of every
// change through distributed notifications, and tell the pane of theirs the same way.
class ExcludeViewController : public QObject
{
    Q_OBJECT
public:
    enum Table { WholePathTable, PartialPathTable };
    // The actions a menu item or button can carry, for validateMenuItem.
    enum Action { AddFilesAction, RemoveFilesAction, AddPartialPathAction, RemovePartialPathAction, OtherAction };

    static inline const QString kPostedNotification = QStringLiteral("CorvanePortableAddRemoveFileToExclude");
    static inline const QString kObservedNotification = QStringLiteral("CorvaneMonitorPortableAddRemoveFileToExclude");
    static inline const QString kNewItem = QStringLiteral("New Item");

    // `center` posts and observes the notifications (one of the controller's own when null);
    // `sizes` measures excluded folders (FolderSizer on a pool thread when null).
    explicit ExcludeViewController(DistributedNotificationCenter *center = nullptr,
                                   ExcludedFolderSizes::Measure measure = {}, QObject *parent = nullptr);
    ~ExcludeViewController() override;

    User &userInfo() { return mUserObject; }
    const User &userInfo() const { return mUserObject; }
    void setOpenPanelPresenter(ExcludeOpenPanelPresenter *presenter) { m_openPanel = presenter; }
    // Makes the icons of the "Path" column (16 by 16); without one the column shows none.
    void setIconProvider(std::function<QIcon(SourceListTableModel::Icon, const QString &path)> provider);

    SourceListTableModel *model(Table table) const;
    const QList<SourceListNode> &rows(Table table) const;
    QStringList defaultExcludeFiles() const { return mDefaultExcludeFilesArray; }
    QStringList defaultPartialPaths() const { return mPartialExludeFilesArray; }

    // The monitor's reload entry, after filling userInfo().
    void loadExcludeSet();
    void fetchPreferenceValuesFromFile();
    void loadExcludePreference();
    void loadPartialExcludePreference();
    // Whether the monitor's defaults took every value.
    bool saveExcludePreference();
    QString portParam() const;

    // Actions.
    void addFilesToExclusionList();
    void addToExclusionList(const QStringList &paths);
    void removeFilesFromExclusionList();
    void addPartialPathToExclusionList();
    void removePartialPathFromExclusionList();
    void ExcludeHiddenChanged(bool excludeHidden);
    void toggleCheckBoxState(Table table, int row);
    void deleteItemFromTableView(Table table);
    bool validateMenuItem(Action action) const;
    void addRemoveFileToExclude(const QVariantMap &userInfo);

    // Data source and delegate of both tables.
    int numberOfRowsInTableView(Table table) const;
    QVariant objectValue(Table table, const QString &column, int row) const;
    void setObjectValue(Table table, const QVariant &value, const QString &column, int row);
    bool isCellEnabled(Table table, const QString &column, int row) const;
    SourceListTableModel::Icon cellIcon(Table table, const QString &column, int row) const;
    QIcon iconFor(SourceListTableModel::Icon icon, const QString &path) const;
    void tableViewSelectionDidChange(Table table, int selectedRow);
    int selectedRow(Table table) const;

    // The state of the pane's controls.
    bool excludeHiddenFiles() const { return m_excludeHiddenFiles; }
    bool isRemoveButtonEnabled(Table table) const;
    bool isAddPartialButtonEnabled() const { return m_addPartialEnabled; }

    // Sizes of the excluded folders of the user's own list, measured off the main thread while
    // wanted (the pane is open); the text the pane shows for them.
    void setSizesWanted(bool wanted);
    QString sizeText() const { return m_sizeText; }
    bool isSizing() const { return m_sizes.isRunning(); }

Q_SIGNALS:
    // Button states or the hidden-files box changed.
    void controlsChanged();
    // The view starts editing the "Path" cell of that partial row, its text selected.
    void editPartialPathRequested(int row);
    void sizeTextChanged(const QString &text);

private:
    void loadView();
    void post(const QString &object, const QVariantMap &userInfo);
    void reload(Table table, bool startOver = false);
    void setAddPartialEnabled(bool enabled);
    void setRemoveEnabled(Table table, bool enabled);
    bool isDefaultRow(Table table, int row) const;
    bool hasNewItem() const;
    void removeWholePathRow(int row);
    void sortRows();
    void measureExcludedFolders();
    void setSizeText(const QString &text);

    QStringList mDefaultExcludeFilesArray;
    QStringList mPartialExludeFilesArray;
    QStringList mUserExcludeFilesArray;
    QList<SourceListNode> mExcludeFileDataSource;
    QList<SourceListNode> partialExcludeTagValueArr;
    User mUserObject;
    bool m_excludeHiddenFiles = true;
    bool m_removeEnabled[2] = {false, false};
    bool m_addPartialEnabled = true;
    int m_selectedRow[2] = {-1, -1};

    DistributedNotificationCenter *m_center;
    ExcludeOpenPanelPresenter *m_openPanel = nullptr;
    std::function<QIcon(SourceListTableModel::Icon, const QString &)> m_iconProvider;
    SourceListTableModel *mExcludeFilesTableView;
    SourceListTableModel *mPartialExcludeListTableView;
    ExcludedFolderSizes m_sizes;
    bool m_sizesWanted = false;
    QString m_sizeText;
};
