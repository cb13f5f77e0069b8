#include "GeneralView.h"

#include "prefs/GeneralViewController.h"
#include "prefs/MultipleMacTextFieldFormatter.h"
#include "ui_GeneralView.h"

#include <QHeaderView>
#include <QVBoxLayout>

namespace {
// The pane is redrawn from this ancestor up, so that the window's frame follows a change.
constexpr int kRedisplayAncestorLevel = 4;
} // namespace

GeneralView::GeneralView(GeneralViewController *controller, QWidget *proxyView, QWidget *parent)
    : QWidget(parent)
    , m_controller(controller)
    , m_ui(std::make_unique<Ui::GeneralView>())
{
    m_ui->setupUi(this);
    m_ui->multipleMacOptionsBtnForNexa->setValidator(
        new MultipleMacTextFieldFormatter(m_ui->multipleMacOptionsBtnForNexa));
    if (proxyView)
        m_ui->proxyLayout->addWidget(proxyView);
    if (const QString tip = m_controller->multipleMacToolTip(); !tip.isNull())
        m_ui->mMMTooltipButton->setToolTip(tip);
    if (const QString tip = m_controller->proxyToolTip(); !tip.isNull())
        m_ui->mProxyTooltipButton->setToolTip(tip);

    QTableView *table = m_ui->mTableView;
    table->setModel(m_controller->timeMachineModel());
    table->horizontalHeader()->hide();
    table->verticalHeader()->hide();
    table->horizontalHeader()->setSectionResizeMode(TimeMachineTableModel::CheckColumn,
                                                    QHeaderView::ResizeToContents);
    table->horizontalHeader()->setSectionResizeMode(TimeMachineTableModel::NameColumn,
                                                    QHeaderView::Stretch);
    table->setIconSize(QSize(16, 16));
    placeDefaultMessage();

    connectControls();
    m_controller->loadView();
    render();
}

GeneralView::~GeneralView()
{
    m_controller->unloadView();
}

void GeneralView::connectControls()
{
    GeneralViewController *c = m_controller;
    connect(c, &GeneralViewController::stateChanged, this, &GeneralView::render);
    connect(c, &GeneralViewController::refreshRequested, this, &GeneralView::redisplayAncestor);
    connect(m_ui->enableMultipleMacBackup, &QCheckBox::clicked, c,
            [c] { c->multipleMacBackupSelected(); });
    QLineEdit *folderName = m_ui->multipleMacOptionsBtnForNexa;
    connect(folderName, &QLineEdit::editingFinished, c, [c, folderName] {
        folderName->setModified(false); // the controller's cleaned name replaces the typing
        c->multipleMacOptionsBtnSelected(folderName->text());
    });
    connect(m_ui->showHiddenFilesButtonForNexa, &QCheckBox::clicked, c,
            &GeneralViewController::showHiddenFilesButtonChanged);
    connect(m_ui->mVersionButton, &QCheckBox::clicked, c, &GeneralViewController::EnableVersion);
    connect(m_ui->restoreDestinationButton, &QCheckBox::clicked, c,
            &GeneralViewController::selectRestoreDestinationPath);
    connect(m_ui->mCDPCheckBox, &QCheckBox::clicked, c, &GeneralViewController::EnableCDP);
    connect(m_ui->powerOffAfterScheduledJobButton, &QCheckBox::clicked, c,
            &GeneralViewController::powerOffAfterScheduledJobToggle);
}

void GeneralView::placeDefaultMessage()
{
    // The empty-table message is drawn over the table, centred, and lets clicks through.
    QLabel *label = m_ui->mDefaultLabel;
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto *overTable = new QVBoxLayout(m_ui->mTableView->viewport());
    overTable->addWidget(label, 0, Qt::AlignCenter);
}

void GeneralView::render()
{
    const GeneralViewController &c = *m_controller;
    const bool nexa = c.userInfo().isNexaUser();
    m_ui->enableMultipleMacBackupForNexa->setVisible(nexa);
    m_ui->enableMultipleMacBackupForNexa->setEnabled(c.multipleMacBackupForNexaEnabled());
    m_ui->mFolderNameLabel->setVisible(nexa);
    m_ui->multipleMacOptionsBtnForNexa->setVisible(nexa);
    m_ui->enableMultipleMacBackup->setVisible(!nexa);
    m_ui->enableMultipleMacBackup->setChecked(c.multipleMacBackupChecked());
    m_ui->enableMultipleMacBackup->setEnabled(c.multipleMacBackupEnabled());
    // Never overwrite what the user is typing: the name is taken when the editing ends.
    if (!m_ui->multipleMacOptionsBtnForNexa->isModified())
        m_ui->multipleMacOptionsBtnForNexa->setText(c.multipleMacFolderName());
    m_ui->showHiddenFilesButtonForNexa->setChecked(c.showHiddenFiles());
    m_ui->mVersionButton->setChecked(c.versionChecked());
    m_ui->mVersionButton->setEnabled(c.versionEnabled());
    m_ui->restoreDestinationButton->setChecked(c.restoreDestinationChecked());
    m_ui->mCDPCheckBox->setChecked(c.mCDPCheckBox());
    m_ui->powerOffAfterScheduledJobButton->setChecked(c.powerOffAfterScheduledJob());
    m_ui->mDefaultLabel->setVisible(c.isDefaultMessageVisible());
}

void GeneralView::redisplayAncestor()
{
    QWidget *ancestor = this;
    for (int level = 0; level < kRedisplayAncestorLevel && ancestor->parentWidget(); ++level)
        ancestor = ancestor->parentWidget();
    ancestor->update();
}
