#pragma once

#include "CVTabViewController.h"
#include "ExcludeViewController.h"
#include "GeneralViewController.h"
#include "ProxyController.h"

class AlertPresenter;
class DistributedNotificationCenter;

// The preferences window's controllers, made at start (they are light; their views come with the
// window on first open): the window itself, the general pane with its proxy controls, and the
// exclusion pane.
class PreferencesPanes
{
public:
    PreferencesPanes(AlertPresenter *alerts, DistributedNotificationCenter *notifications)
        : proxy(alerts)
        , general(servicesWith(notifications))
        , exclude(notifications)
    {
        general.SetMProxyController(&proxy);
    }

    CVTabViewController tabs;
    ProxyController proxy;
    GeneralViewController general;
    ExcludeViewController exclude;

private:
    static GeneralViewServices servicesWith(DistributedNotificationCenter *notifications)
    {
        GeneralViewServices services;
        services.notifications = notifications;
        return services;
    }
};
