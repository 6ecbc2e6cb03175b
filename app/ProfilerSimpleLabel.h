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

    QString text() const { return m_text; }
    QColor color() const { return m_color; }
    int alignment() const { return m_alignment; }
    Qt::TextElideMode elideMode() const { return m_elideMode; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_text;
    QColor m_color;
    int m_alignment;
    Qt::TextElideMode m_elideMode;
};

#endif // PROFILERSIMPLELABEL_H
