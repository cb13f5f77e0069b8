#pragma once

#include <QWidget>

// The older panel's quota bar: a rounded bar filled `progressValue` out of 100, labelled with the
// value and "%".
class ProgressView : public QWidget {
    Q_OBJECT
public:
    explicit ProgressView(QWidget *parent = nullptr);

    int progressValue() const { return m_progressValue; }
    // Stores the value as given and redraws; the fill is clamped to 0..100.
    void setProgressValue(int value);
    QString label() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int m_progressValue = 0;
};
