#ifndef PROFILERSIMPLELABEL_H
#define PROFILERSIMPLELABEL_H

#include <QColor>
#include <QFont>
#include <QFrame>
#include <QHash>
#include <QSize>
#include <QString>
#include <QTextLayout>

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
    QSize measuredSize(const QString& text);
    bool canDrawShaped() const;
    void shapeText();
    void drawShaped(QPainter* painter);

    QString labelText;
    QColor textColor;
    int textAlignment;
    Qt::TextElideMode textElideMode;
    // Sizes of texts shown before, in the font they were measured with. The
    // numbers of a legend row come back again and again (a count that rises
    // and falls, an average that settles), and measuring a text means shaping
    // it anew.
    QFont measuredFont;
    QHash<QString, QSize> measuredSizes;
    // The text as last shaped for painting: a label is painted far more often
    // than its text changes (the plot's labels with every repaint of the
    // plot), and shaping is most of what drawing a text costs.
    QTextLayout shapedText;
    QFont shapedFont;
    Qt::LayoutDirection shapedDirection;
};

#endif // PROFILERSIMPLELABEL_H
