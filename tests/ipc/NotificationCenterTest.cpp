#include "platform/DistributedNotificationCenter.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kLumenctl = QStringLiteral(LUMENCTL_PATH);

struct Received
{
    QString name;
    QString object;
    QVariantMap userInfo;
};

TEST(DistributedNotifications, PostedByAnotherProcessReachOnlyTheirObservers)
{
    const QString name = u"LumenTestNotification%1"_s.arg(QCoreApplication::applicationPid());
    DistributedNotificationCenter center;
    QList<Received> wanted, all;
    ASSERT_TRUE(center.addObserver(name, [&](const QString &n, const QString &o, const QVariantMap &i) {
        wanted.append({n, o, i});
    }));
    center.addObserver(QString(), [&](const QString &n, const QString &, const QVariantMap &) {
        if (n.startsWith(name)) // tests running beside this one post on the same bus
            all.append({n, {}, {}});
    });
    // Our own probe coming back proves the subscription is in place on the bus.
    bool probed = false;
    center.addObserver(name + u"Probe"_s, [&](const QString &, const QString &, const QVariantMap &) { probed = true; });
    center.post(name + u"Probe"_s);
    ASSERT_TRUE(waitUntil([&] { return probed; }));
    all.clear();

    const ProcessResult posted = runProgram(kLumenctl, {u"notify"_s, name, u"--object"_s, u"ViewExclude"_s,
                                                       u"--user-info"_s, u"{\"count\": 2, \"on\": true}"_s});
    ASSERT_EQ(posted.exitCode, 0) << posted.errorOutput.toStdString();
    ASSERT_EQ(runProgram(kLumenctl, {u"notify"_s, name + u"Unrelated"_s}).exitCode, 0);
    waitUntil([&] { return all.size() >= 2; });

    ASSERT_EQ(wanted.size(), 1);
    EXPECT_EQ(wanted.first().object, u"ViewExclude"_s);
    EXPECT_EQ(wanted.first().userInfo, (QVariantMap{{u"count"_s, 2}, {u"on"_s, true}}));
    EXPECT_EQ(all.size(), 2) << "an observer of every name sees both";
}

TEST(DistributedNotifications, AnObserverInThisProcessHearsItsOwnPosts)
{
    const QString name = u"LumenTestLocal%1"_s.arg(QCoreApplication::applicationPid());
    DistributedNotificationCenter center;
    int heard = 0;
    QVariantMap info;
    center.addObserver(name, [&](const QString &, const QString &, const QVariantMap &i) {
        ++heard;
        info = i;
    });
    const QVariantMap sent{{u"when"_s, QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC)},
                           {u"data"_s, QByteArray("\x00\x01", 2)}};
    // Posted until the subscription is in place, then once more: exactly one of each arrives.
    ASSERT_TRUE(waitUntil([&] {
        center.post(name, QString(), sent);
        return waitUntil([&] { return heard > 0; }, 200);
    }));
    EXPECT_EQ(info, sent);
}

} // namespace
