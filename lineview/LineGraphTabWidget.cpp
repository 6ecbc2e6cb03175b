#include "LineGraphTabWidget.h"

#include <QEvent>
#include <QStyle>
#include <QStyleOptionTabWidgetFrame>
#include <QTabBar>

LineGraphTabWidget::LineGraphTabWidget(QWidget* parent) : QTabWidget(parent) {}

bool LineGraphTabWidget::event(QEvent* event)
{
    if (event->type() == QEvent::LayoutRequest && isVisible() && keepsItsPlaces()) {
        updateGeometry();
        return true;
    }
    return QTabWidget::event(event);
}

// Whether the tab bar and the pages stand where a new layout would put them,
// asked of the style as the tab widget's own layout asks it.
bool LineGraphTabWidget::keepsItsPlaces() const
{
    const QWidget* page = currentWidget();
    if (!page || cornerWidget(Qt::TopLeftCorner) || cornerWidget(Qt::TopRightCorner)) {
        return false;
    }
    QStyleOptionTabWidgetFrame option;
    initStyleOption(&option);
    return style()->subElementRect(QStyle::SE_TabWidgetTabBar, &option, this) ==
               tabBar()->geometry() &&
           style()->subElementRect(QStyle::SE_TabWidgetTabContents, &option, this) ==
               page->parentWidget()->geometry();
}
