#ifndef PROFILERSIMPLELABEL_H
#define PROFILERSIMPLELABEL_H

#include <QColor>
#include <QFrame>
#include <QString>

// A painted one-line text whose widget size is pinned to the text, so that a
// layout can neither stretch nor squeeze it. It formats nothing: callers hand
// it finished strings. Deliberately without a meta-object of its own.
class ProfilerSimpleLabel : public QFrame
{
public:
    explicit ProfilerSimpleLabel(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~ProfilerSimpleLabel() override;

    void setText(const QString& text);
    void setColor(const QColor& color);

    QString text() const { return labelText; }
    QColor color() const { return textColor; }
    int alignment() const { return textAlignment; }
    Qt::TextElideMode elideMode() const { return textElideMode; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString labelText;
    QColor textColor;
    int textAlignment;
    Qt::TextElideMode textElideMode;
};

#endif // PROFILERSIMPLELABEL_H
