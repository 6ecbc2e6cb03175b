#ifndef ICONIMAGE_H
#define ICONIMAGE_H

#include <QImage>

// The application icon: a dark tile with a tiny DSP network (two plates
// feeding a third) above a green line graph, the two views of the window.
class IconImage
{
public:
    static QImage draw(int size);
};

#endif
