#pragma once

#include <QWidget>

// A level indicator that also writes its value as a percentage. The fill turns to a warning
// colour from 90 and to a critical one at 100.
class CVLevelIndicator : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWarningValue = 90;
    static constexpr int kCriticalValue = 100;

    explicit CVLevelIndicator(QWidget *parent = nullptr);

    int value() const { return m_value; }
    // Clamped to 0..100.
    void setValue(int value);
    QColor fillColor() const;
    QString text() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int m_value = 0;
};
