#include "app/WindowActivator.h"

#include "app/qt/QtWindowActivator.h"
#include "app/x11/X11WindowActivator.h"

#include <QGuiApplication>

std::unique_ptr<WindowActivator> WindowActivator::forThisPlatform()
{
    if (QGuiApplication::platformName() == QLatin1String("xcb"))
        return std::make_unique<X11WindowActivator>();
    return std::make_unique<QtWindowActivator>();
}
