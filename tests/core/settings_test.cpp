#include "core/settings.h"

#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace velotte;

TEST(ServiceAddresses, DefaultsAndOverridesFromTheSettingsFile)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("velotte.conf"));
    {
        QSettings s(file, QSettings::IniFormat);
        s.setValue(QStringLiteral("services/lrclib"), QStringLiteral("http://127.0.0.1:9001"));
        s.setValue(QStringLiteral("services/kugou"), QStringLiteral("   "));
        s.setValue(QStringLiteral("services/netease"), QStringLiteral("no scheme"));
        s.setValue(QStringLiteral("local/speakers"), QStringLiteral("127.0.0.11, 127.0.0.12,"));
    }
    const auto a = ServiceAddresses::load(file);
    const auto d = ServiceAddresses::defaults();
    EXPECT_EQ(a.lrclib, QUrl(QStringLiteral("http://127.0.0.1:9001")));
    EXPECT_EQ(a.kugou, d.kugou);
    EXPECT_EQ(a.netease, d.netease);
    EXPECT_EQ(a.speakers, (QStringList{QStringLiteral("127.0.0.11"), QStringLiteral("127.0.0.12")}));
}
