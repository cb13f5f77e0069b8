#include "platform/PropertyList.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kLumenctl = QStringLiteral(LUMENCTL_PATH);

class LumenctlPaths : public ::testing::TestWithParam<const char *>
{
};

TEST_P(LumenctlPaths, EveryAbsolutePathLiesUnderTheRootAndTildeInTheHome)
{
    QTemporaryDir root, home;
    const QString brand = QString::fromUtf8(GetParam());
    const ProcessResult run = runProgram(kLumenctl, {u"--brand"_s, brand, u"--root"_s, root.path(),
                                                    u"paths"_s, u"--json"_s},
                                        {u"HOME="_s + home.path()});
    ASSERT_EQ(run.exitCode, 0) << run.errorOutput.toStdString();
    const QJsonObject doc = QJsonDocument::fromJson(run.output).object();
    EXPECT_EQ(doc.value(u"brand"_s).toString(), brand);
    EXPECT_EQ(doc.value(u"applicationName"_s).toString(),
              brand == "corvane"_L1 ? u"Corvane Lumen"_s : u"Stelloa Lumen"_s);

    int underRoot = 0, underHome = 0;
    for (const char *section : {"fileKinds", "fixedPaths"}) {
        const QJsonArray rows = doc.value(QString::fromLatin1(section)).toArray();
        ASSERT_FALSE(rows.isEmpty()) << section;
        for (const QJsonValue &row : rows) {
            const QString product = row[u"path"_s].toString();
            const QString resolved = row[u"resolved"_s].toString();
            SCOPED_TRACE(product.toStdString());
            if (product.startsWith(u'~') || product.startsWith(home.path())) {
                EXPECT_TRUE(resolved.startsWith(home.path() + u'/'));
                ++underHome;
            } else if (product.startsWith(u'/')) {
                EXPECT_EQ(resolved, root.path() + product);
                ++underRoot;
            } else {
                EXPECT_EQ(resolved, product) << "a bare name is no path";
            }
        }
    }
    EXPECT_GE(underRoot, 8);
    EXPECT_GE(underHome, 4);
}

INSTANTIATE_TEST_SUITE_P(Lumenctl, LumenctlPaths, ::testing::Values("corvane", "stelloa"));

TEST(Lumenctl, StringLookupAndClearErrors)
{
    const ProcessResult name = runProgram(kLumenctl, {u"--brand"_s, u"stelloa"_s, u"string"_s,
                                                     u"ApplicationName"_s});
    EXPECT_EQ(name.output, QByteArray("Stelloa Lumen\n"));

    const ProcessResult badBrand = runProgram(kLumenctl, {u"--brand"_s, u"acme"_s, u"paths"_s});
    EXPECT_EQ(badBrand.exitCode, 2);
    EXPECT_TRUE(badBrand.errorOutput.contains("Unknown brand \"acme\""));

    const ProcessResult badRoot = runProgram(kLumenctl, {u"--root"_s, u"/no/such/folder"_s, u"paths"_s});
    EXPECT_EQ(badRoot.exitCode, 2);
    EXPECT_TRUE(badRoot.errorOutput.contains("does not exist"));

    const ProcessResult unknown = runProgram(kLumenctl, {u"frobnicate"_s});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.errorOutput.contains("Unknown command"));

    const ProcessResult help = runProgram(kLumenctl, {u"--help"_s});
    EXPECT_EQ(help.exitCode, 0);
    for (const char *word : {"--brand", "--root", "--resources", "paths", "string"})
        EXPECT_TRUE(help.output.contains(word)) << word;
}

TEST(Lumenctl, ResourcesFolderReplacesTheBuiltInTable)
{
    QTemporaryDir resources;
    QFile builtIn(u":/brands/corvane/Localizable.plist"_s);
    ASSERT_TRUE(builtIn.open(QIODevice::ReadOnly));
    QVariantMap strings = PropertyList::fromData(builtIn.readAll()).toMap();
    strings.insert(u"UpdateServiceURL"_s, u"http://127.0.0.1:8080/"_s);
    ASSERT_TRUE(
        writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
    const QStringList lookUp{u"--resources"_s, resources.path(), u"string"_s, u"UpdateServiceURL"_s};
    EXPECT_EQ(runProgram(kLumenctl, lookUp).output, QByteArray("http://127.0.0.1:8080/\n"));

    // A table that cannot be used stops the program before it writes a file anywhere.
    ASSERT_TRUE(writeStringTable(resources, "garbage"));
    ProcessResult refused = runProgram(kLumenctl, lookUp);
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_TRUE(refused.errorOutput.contains("cannot be read")) << refused.errorOutput.toStdString();
    strings.remove(u"SchedulerSettingsFile"_s);
    ASSERT_TRUE(
        writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
    refused = runProgram(kLumenctl, lookUp);
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_TRUE(refused.errorOutput.contains("SchedulerSettingsFile")) << "the missing path is named";
}


TEST(Lumenctl, SizeOfABackupSetWithAndWithoutExclusions)
{
    QTemporaryDir root;
    QDir().mkpath(root.filePath(u"data/keep"_s));
    QDir().mkpath(root.filePath(u"data/skip"_s));
    const auto write = [&](const QString &path, int bytes) {
        QFile file(root.filePath(path));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(bytes, 'x'));
    };
    write(u"data/keep/a"_s, 1000);
    write(u"data/skip/b"_s, 2048);
    write(u"single"_s, 24);
    const QStringList base{u"--root"_s, root.path(), u"size"_s};

    const ProcessResult total = runProgram(kLumenctl, base + QStringList{u"/data"_s, u"/single"_s, u"/missing"_s, u"--json"_s});
    ASSERT_EQ(total.exitCode, 0) << total.errorOutput.toStdString();
    const QJsonObject json = QJsonDocument::fromJson(total.output).object();
    EXPECT_EQ(json[u"bytes"_s].toDouble(), 3072.0);
    EXPECT_EQ(json[u"formatted"_s].toString(), u"3 KB"_s);
    EXPECT_TRUE(total.errorOutput.contains("/missing")) << "a missing path is named, not fatal";

    const ProcessResult plain = runProgram(kLumenctl, base + QStringList{u"/single"_s});
    EXPECT_EQ(plain.output, QByteArray("24\t24 bytes\n"));

    QFile exclusions(root.filePath(u"exclusions.plist"_s));
    ASSERT_TRUE(exclusions.open(QIODevice::WriteOnly));
    exclusions.write("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>ann</key><dict>"
                     "<key>User specified Exclusion</key><dict><key>/data/skip</key><true/></dict>"
                     "</dict></dict></plist>");
    exclusions.close();
    const ProcessResult excluded = runProgram(kLumenctl, base + QStringList{u"/data"_s, u"--user"_s, u"ann"_s,
                                                                            u"--exclusions"_s, u"/exclusions.plist"_s});
    ASSERT_EQ(excluded.exitCode, 0) << excluded.errorOutput.toStdString();
    // Bob has no exclusions in the same file: the difference is ann's excluded folder and file.
    const ProcessResult unexcluded = runProgram(kLumenctl, base + QStringList{u"/data"_s, u"--user"_s, u"bob"_s,
                                                                              u"--exclusions"_s, u"/exclusions.plist"_s});
    const quint64 with = excluded.output.split('\t').first().toULongLong();
    const quint64 without = unexcluded.output.split('\t').first().toULongLong();
    EXPECT_GE(without - with, 2048u) << with << " vs " << without;

    EXPECT_EQ(runProgram(kLumenctl, base).exitCode, 2);
    EXPECT_EQ(runProgram(kLumenctl, base + QStringList{u"/data"_s, u"--user"_s, u"ann"_s}).exitCode, 2);
}

} // namespace
