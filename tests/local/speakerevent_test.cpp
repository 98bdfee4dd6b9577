// Events as real speakers sent them, read into records.
#include "local/speakerevent.h"
#include "services/fakecaptures.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

namespace {
QByteArray capture(const QString &name) { return fake::captures::text(name).toUtf8(); }
} // namespace

TEST(SpeakerEvents, CapturedTransportEvent)
{
    // The track's metadata is escaped three times over in the capture.
    const auto e = SpeakerEvent::read(EventService::transport, capture(u"event-avtransport.xml"_s));
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(e->transportState, u"PLAYING"_s);
    EXPECT_EQ(e->playing(), true);
    EXPECT_EQ(e->title, u"Intermezzo No. 3 in C-sharp minor, Op. 117 - Andante con moto"_s);
    EXPECT_EQ(e->artist, u"Johannes Brahms"_s);
    EXPECT_EQ(e->durationMillis, 318000);
    EXPECT_EQ(e->playMode, u"SHUFFLE"_s);
    EXPECT_EQ(e->transportURI, u"x-rincon-queue:RINCON_00000000000001400#0"_s);
    EXPECT_EQ(e->track, 43);
    EXPECT_EQ(e->numberOfTracks, 169);
    ASSERT_TRUE(e->actions.has_value());
    EXPECT_TRUE(e->actions->canSeek && e->actions->canSkip && e->actions->canSkipBack);
    EXPECT_FALSE(e->volume || e->rooms || e->queueUpdateID);
}

TEST(SpeakerEvents, CapturedTopologyEvent)
{
    // The last group is left open: the closed ones still count.
    const auto e = SpeakerEvent::read(EventService::topology, capture(u"event-topology-satellites.xml"_s));
    ASSERT_TRUE(e.has_value() && e->rooms.has_value());
    EXPECT_EQ(e->rooms->size(), 2);
    EXPECT_EQ(e->rooms->first().name, u"BOOST"_s);
}

TEST(SpeakerEvents, WhatIsNoEvent)
{
    const struct {
        EventService service;
        QByteArray body;
        bool read;
    } cases[] = {
        {EventService::transport, "<s:Envelope><s:Body/></s:Envelope>", false},
        {EventService::transport, capture(u"event-avtransport.xml"_s).left(900), false}, // cut short
        {EventService::rendering, "", false},
        // A property set without any group is no news of the rooms.
        {EventService::topology, "<e:propertyset><e:property><ZoneGroupState></ZoneGroupState></e:property></e:propertyset>", true},
    };
    for (const auto &c : cases) {
        const auto e = SpeakerEvent::read(c.service, c.body);
        EXPECT_EQ(e.has_value(), c.read) << c.body.left(60).toStdString();
        if (e) {
            EXPECT_FALSE(e->rooms.has_value());
        }
    }
    // Another instance and other channels than Master are not this speaker's volume.
    const auto values = SpeakerEvent::lastChange(u"<Event><InstanceID val=\"1\"><Volume channel=\"Master\" val=\"5\"/></InstanceID>"
                                                  "<InstanceID val=\"0\"><Volume channel=\"LF\" val=\"100\"/><Mute val=\"1\"/></InstanceID></Event>"_s);
    EXPECT_FALSE(values.contains(u"Volume"_s));
    EXPECT_EQ(values.value(u"Mute"_s), u"1"_s);
}
