#pragma once

#include "prefs/ExcludeOpenPanelPresenter.h"

#include <QWidget>

#include <memory>

namespace Ui {
class ExcludeView;
}
class ExcludeViewController;
class KeyDownInTableView;

// The exclusion pane: the whole-path and partial-path tables, their add and remove buttons,
// the hidden-files box and a line with the size of the excluded folders. It renders the
// controller's models and forwards every click; the file chooser is a dialog of its own.
class ExcludeView : public QWidget, public ExcludeOpenPanelPresenter
{
    Q_OBJECT
public:
    explicit ExcludeView(ExcludeViewController *controller, QWidget *parent = nullptr);
    ~ExcludeView() override;

    void beginOpenPanel(std::function<void(int returnCode, const QStringList &paths)> done) override;

    // For tests and screenshots.
    KeyDownInTableView *wholePathTable() const;
    KeyDownInTableView *partialPathTable() const;
    QWidget *control(const char *name) const;

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void setUpTable(KeyDownInTableView *table, int which);
    void updateControls();
    void retranslate();

    ExcludeViewController *m_controller;
    std::unique_ptr<Ui::ExcludeView> m_ui;
};
