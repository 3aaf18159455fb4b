// SPDX-License-Identifier: GPL-3.0-or-later
// The companion's message format: key order, absent fields, escaping, numbers, and the
// rejection of anything that breaks a record's rules.
#include "bridge/WidgetMessage.h"

#include <QtTest>

namespace {

// Every field of every record, each in its declared order. Decoding and encoding again must
// give back these bytes: a field read from or written to the wrong key, or out of order, shows.
const QByteArray everyField =
    R"({"v":2,"type":"t","app":"com.norvane.Stashwell","name":"N",)"
    R"("ear":{"symbol":"s","text":"e","level":0.5,"tint":1,"priority":2,"sprite":"sp","meta":"m"},)"
    R"("actions":[{"id":"a","title":"A","symbol":"s","tint":3,"detail":"d"}],)"
    R"("items":[{"id":"i","title":"I","path":"/p","meta":"m","sub":"u","tint":4}],"itemsTitle":"R",)"
    R"("tab":{"title":"T","symbol":"s","icon":"i","width":10.5,"height":20},)"
    R"("sessions":[{"id":"s","title":"S","subtitle":"sub","thumb":"th","state":"st",)"
    R"("panes":[{"id":"p","title":"P","frame":[1,2.5],"tty":"tty1",)"
    R"("agentPresentation":{"agent":"ag","activity":"ac","sprite":"sp","reason":"r","revision":5,)"
    R"("sourceEpoch":"ep","observedAt":1.25,"pid":6},"unread":true,"agentSessionId":"as"}],)"
    R"("windowId":"w","bg":7}],"actionId":"aid","itemId":"iid","rect":[0,1.5],)"
    R"("widgets":[{"id":"d","kind":"k","title":"D","symbol":"s","minW":1,"minH":2,"maxW":3,"maxH":4,"chart":"c"}],)"
    R"("widgetId":"wid","data":{"value":"v","unit":"u","meta":"m","series":[1],"series2":[2],"gauge":0.25,)"
    R"("breakdown":[["a","b"]],"seriesCap":8,"values":[3],"valuesSplit":9,"pressure":0.75,)"
    R"("pressureSeries":[4],"seriesLong":[5],"series2Long":[6],"loadSeries":[7],)"
    R"("valuesSeries":[[8,9],[]],"procs":[["p"]],"procsTotal":10,"procsSumGB":1.5,"partsGB":[11],)"
    R"("facts":{"k":"v"}},"placedIds":["x","y"],"text":"tx","lang":"ja",)"
    R"("status":{"sprite":"sp","text":"st"},"locked":true,"phase":"ph","dragApp":"da",)"
    R"("dragTitle":"dt","zone":"z","snapLayouts":[{"id":"l","name":"L","columns":2,"rows":1,"zones":[[0,1],[]]}]})";

} // namespace

class WidgetMessageTest : public QObject {
    Q_OBJECT

private slots:
    void everyRecordKeepsItsFieldsThroughDecodeAndEncode()
    {
        const std::optional<WidgetMessage> m = WidgetMessage::decode(everyField);
        QCOMPARE(m.value_or(WidgetMessage()).encode(), std::optional(everyField));
        QCOMPARE(m->sessions->first().panes->first().agentPresentation->observedAt, 1.25);
    }

    void nonFiniteNumberAnywhereFailsEncoding()
    {
        const WidgetMessage valid = *WidgetMessage::decode(everyField);
        for (const double bad : {qQNaN(), qInf(), -qInf()}) {
            WidgetMessage inRect = valid, nested = valid, inSeries = valid;
            inRect.rect->append(bad);
            nested.sessions->first().panes->first().agentPresentation->observedAt = bad;
            inSeries.data->valuesSeries->first().append(bad);
            QVERIFY(!inRect.encode() && !nested.encode() && !inSeries.encode());
        }
    }

    void largeNumbersKeepEveryDigit()
    {
        const QByteArray json = R"({"v":9223372036854775807,"type":"x","app":"a","sessions":[{"id":"s","title":"S",)"
                                R"("bg":-9223372036854775808}],"widgets":[{"id":"d","kind":"k","title":"D",)"
                                R"("minW":9007199254740993}]})"; // 2^53 + 1: not exact as a double
        QCOMPARE(WidgetMessage::decode(json).value_or(WidgetMessage()).encode(), std::optional(json));
        WidgetMessage doubles = *WidgetMessage::decode(R"({"v":1,"type":"x","app":"a"})");
        doubles.rect = QList<double>{1e300, -2.5e-300, 1.0 / 3};
        QCOMPARE(WidgetMessage::decode(doubles.encode().value_or("failed")), std::optional(doubles));
    }

    void decodeAcceptsOnlyWellFormedRecords_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("accepted");
        const auto whole = [](const char *name, const char *json, bool ok) { QTest::newRow(name) << QByteArray(json) << ok; };
        // Fields after a valid envelope.
        const auto with = [](const char *name, const char *fields, bool ok) {
            QTest::newRow(name) << R"({"v":1,"type":"t","app":"a",)" + QByteArray(fields) + '}' << ok;
        };
        whole("envelope", R"({"v":1,"type":"t","app":"a"})", true);
        whole("no v", R"({"type":"t","app":"a"})", false);
        whole("no app", R"({"v":1,"type":"t"})", false);
        whole("v with fraction", R"({"v":1.5,"type":"t","app":"a"})", false);
        whole("v beyond 64 bits", R"({"v":9223372036854775808,"type":"t","app":"a"})", false);
        whole("v written 1e2", R"({"v":1e2,"type":"t","app":"a"})", true);
        whole("array", R"([{"v":1,"type":"t","app":"a"}])", false);
        whole("invalid UTF-8", "{\"v\":1,\"type\":\"t\",\"app\":\"\xff\xfe\"}", false);
        with("unknown keys anywhere", R"("future":null,"items":[{"id":"i","color":"red"}],"ear":{"text":"t","priority":1,"glow":1})", true);
        with("huge double", R"("rect":[1e400])", false);
        with("ear priority missing", R"("ear":{"text":"t"})", false);
        with("ear tint fraction", R"("ear":{"text":"t","priority":1,"tint":1.5})", false);
        with("action title missing", R"("actions":[{"id":"a"}])", false);
        with("action null element", R"("actions":[null])", false);
        with("item id number", R"("items":[{"id":1}])", false);
        with("second item bad", R"("items":[{"id":"i"},{"id":"j","meta":[]}])", false);
        with("tab width missing", R"("tab":{"title":"t","height":2})", false);
        with("session title missing", R"("sessions":[{"id":"s"}])", false);
        with("pane frame string", R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P","frame":[1,"2"]}]}])", false);
        with("agent epoch missing", R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P",)"
                                    R"("agentPresentation":{"activity":"a","revision":1,"observedAt":2}}]}])", false);
        with("decl kind missing", R"("widgets":[{"id":"d","title":"t"}])", false);
        with("facts number value", R"("data":{"facts":{"a":1}})", false);
        with("gauge integer", R"("data":{"gauge":1})", true);
        with("status sprite number", R"("status":{"sprite":1})", false);
        with("snap zones missing", R"("snapLayouts":[{"id":"l","name":"L","columns":2,"rows":1}])", false);
        with("itemId null", R"("itemId":null)", true);
    }
    void decodeAcceptsOnlyWellFormedRecords()
    {
        QFETCH(QByteArray, json);
        QFETCH(bool, accepted);
        QCOMPARE(WidgetMessage::decode(json).has_value(), accepted);
    }
};

QTEST_GUILESS_MAIN(WidgetMessageTest)
#include "WidgetMessageTest.moc"
