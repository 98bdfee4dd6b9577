#include "cloud/sonosconfig.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace velotte;

namespace {
QString write(const QTemporaryDir &dir, const QString &name, const QByteArray &body)
{
    const QString path = dir.filePath(name);
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(body);
    return path;
}

QByteArray plist(const QByteArray &entries)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n<dict>\n"
        + entries + "</dict>\n</plist>\n";
}
} // namespace

TEST(SonosConfig, ReadsCredentialsAndOverrides)
{
    QTemporaryDir dir;
    const QString file = write(dir, QStringLiteral("s.plist"), plist(
        "<key>ClientID</key><string>abc</string>\n<key>ClientSecret</key><string>s3cr3t</string>\n"
        "<key>Flag</key><true/>\n<key>APIRoot</key><string>http://127.0.0.1:9/control/api/v1</string>\n"
        "<key>TokenURL</key><string></string>\n"));
    const auto c = SonosConfig::read(file);
    ASSERT_TRUE(c.has_value()); // the credentials and addresses given are every account test's
    EXPECT_EQ(c->redirectURI, SonosConfig::defaultRedirectURI());
    EXPECT_EQ(c->apiRoot, QUrl(QStringLiteral("http://127.0.0.1:9/control/api/v1")));
    EXPECT_EQ(c->tokenURL, SonosConfig::defaults().tokenURL);
    EXPECT_TRUE(c->authorizeURL.path().endsWith(QLatin1String("/login/v3/oauth")));
}

TEST(SonosConfig, RejectsFilesWithoutBothCredentials)
{
    QTemporaryDir dir;
    EXPECT_FALSE(SonosConfig::read(write(dir, QStringLiteral("a"), plist("<key>ClientID</key><string>abc</string>"))));
    EXPECT_FALSE(SonosConfig::read(write(dir, QStringLiteral("b"), plist("<key>ClientID</key><string></string><key>ClientSecret</key><string>x</string>"))));
    EXPECT_FALSE(SonosConfig::read(write(dir, QStringLiteral("c"), "<plist><array><string>x</string></array></plist>")));
    EXPECT_FALSE(SonosConfig::read(write(dir, QStringLiteral("d"), "not xml at all <")));
    EXPECT_FALSE(SonosConfig::read(write(dir, QStringLiteral("e"), plist("<key>ClientID</key><integer>4</integer><key>ClientSecret</key><string>x</string>"))));
    EXPECT_FALSE(SonosConfig::read(dir.filePath(QStringLiteral("missing"))));
    EXPECT_FALSE(SonosConfig::read(QStringLiteral(VELOTTE_TEST_DATA_DIR "/../../data/SonosSecrets.example.plist")).has_value()); // the shipped example
}

// VELOTTE_SECRETS naming the one file, or none, is every command-line account test's setup.
TEST(SonosConfig, WithoutTheEnvironmentTheUsersFileThenTheExample)
{
    qunsetenv("VELOTTE_SECRETS");
    const QStringList files = SonosConfig::candidates();
    EXPECT_TRUE(files.first().endsWith(QLatin1String("velotte/SonosSecrets.plist")));
    EXPECT_TRUE(files.last().endsWith(QLatin1String("SonosSecrets.example.plist")));
}
