// Part 5.1: encoding and decoding of the companion's messages.
#include "bridge/WidgetMessage.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>
#include <cmath>
#include <limits>

class WidgetMessageTest : public QObject {
    Q_OBJECT

    static WidgetMessage envelope(const QString &type)
    {
        WidgetMessage m;
        m.type = type;
        m.app = QStringLiteral("com.norvane.Stashwell");
        return m;
    }
    static QByteArray encoded(const WidgetMessage &m)
    {
        const auto json = m.encode();
        if (!json)
            qFatal("encoding failed");
        return *json;
    }
    static bool decodes(const char *json) { return WidgetMessage::decode(QByteArray(json)).has_value(); }

    // A message with every field of every record set, each record in its own nesting.
    static WidgetMessage everything()
    {
        WidgetMessage m = envelope(QStringLiteral("t"));
        m.v = 2;
        m.name = QStringLiteral("N");
        m.ear = WidgetEar{QStringLiteral("s"), QStringLiteral("e"), 0.5, 1, 2, QStringLiteral("sp"), QStringLiteral("m")};
        m.actions = QList<WidgetAction>{{QStringLiteral("a"), QStringLiteral("A"), QStringLiteral("s"), 3, QStringLiteral("d")}};
        m.items = QList<WidgetItem>{{QStringLiteral("i"), QStringLiteral("I"), QStringLiteral("/p"), QStringLiteral("m"),
                                     QStringLiteral("u"), 4}};
        m.itemsTitle = QStringLiteral("R");
        m.tab = WidgetTab{QStringLiteral("T"), QStringLiteral("s"), QStringLiteral("i"), 10.5, 20};
        WidgetAgentPresentation agent{QStringLiteral("ag"), QStringLiteral("ac"), QStringLiteral("sp"),
                                      QStringLiteral("r"),  5,                    QStringLiteral("ep"),
                                      1.25,                 6};
        WidgetPane pane{QStringLiteral("p"), QStringLiteral("P"), QList<double>{1, 2.5}, QStringLiteral("tty1"), agent, true,
                        QStringLiteral("as")};
        m.sessions = QList<WidgetSession>{{QStringLiteral("s"), QStringLiteral("S"), QStringLiteral("sub"),
                                           QStringLiteral("th"), QStringLiteral("st"), QList<WidgetPane>{pane},
                                           QStringLiteral("w"), 7}};
        m.actionId = QStringLiteral("aid");
        m.itemId = QStringLiteral("iid");
        m.rect = QList<double>{0, 1.5};
        m.widgets = QList<WidgetDecl>{{QStringLiteral("d"), QStringLiteral("k"), QStringLiteral("D"), QStringLiteral("s"), 1, 2,
                                       3, 4, QStringLiteral("c")}};
        m.widgetId = QStringLiteral("wid");
        WidgetData data;
        data.value = QStringLiteral("v");
        data.unit = QStringLiteral("u");
        data.meta = QStringLiteral("m");
        data.series = QList<double>{1};
        data.series2 = QList<double>{2};
        data.gauge = 0.25;
        data.breakdown = QList<QStringList>{{QStringLiteral("a"), QStringLiteral("b")}};
        data.seriesCap = 8;
        data.values = QList<double>{3};
        data.valuesSplit = 9;
        data.pressure = 0.75;
        data.pressureSeries = QList<double>{4};
        data.seriesLong = QList<double>{5};
        data.series2Long = QList<double>{6};
        data.loadSeries = QList<double>{7};
        data.valuesSeries = QList<QList<double>>{{8, 9}, {}};
        data.procs = QList<QStringList>{{QStringLiteral("p")}};
        data.procsTotal = 10;
        data.procsSumGB = 1.5;
        data.partsGB = QList<double>{11};
        data.facts = QMap<QString, QString>{{QStringLiteral("k"), QStringLiteral("v")}};
        m.data = data;
        m.placedIds = QStringList{QStringLiteral("x"), QStringLiteral("y")};
        m.text = QStringLiteral("tx");
        m.lang = QStringLiteral("ja");
        m.status = WidgetStatus{QStringLiteral("sp"), QStringLiteral("st")};
        m.locked = true;
        m.phase = QStringLiteral("ph");
        m.dragApp = QStringLiteral("da");
        m.dragTitle = QStringLiteral("dt");
        m.zone = QStringLiteral("z");
        m.snapLayouts = QList<WidgetSnapLayout>{{QStringLiteral("l"), QStringLiteral("L"), 2, 1, {{0, 1}, {}}}};
        return m;
    }

private slots:
    // Edge case: no recent entries still carries `items` as [] and the one action.
    void stateWithoutEntriesKeepsEmptyItemsAndTheAction()
    {
        const WidgetAction action = WidgetMessage::openPaletteAction(QStringLiteral("Open Stashwell"),
                                                                     QStringLiteral("Search your history"));
        const QByteArray json = encoded(WidgetMessage::state(QStringLiteral("com.norvane.Stashwell"), action, {},
                                                             QStringLiteral("Recent")));
        QCOMPARE(json, QByteArray(R"({"v":1,"type":"widget.state","app":"com.norvane.Stashwell","name":"Stashwell",)"
                                  R"("actions":[{"id":"openPalette","title":"Open Stashwell","symbol":"doc.on.clipboard",)"
                                  R"("tint":689407,"detail":"Search your history"}],"items":[],"itemsTitle":"Recent",)"
                                  R"("locked":false})"));
    }

    // Edge case: exactly the catalogue's keys, never null, never an absent field's key.
    void stateHasExactlyTheCatalogueKeys()
    {
        WidgetItem text{QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF"), QStringLiteral("hello"), {},
                        QStringLiteral("Text · 5 min. ago"), {}, {}};
        WidgetItem image{QStringLiteral("7F9619FF-8B86-D011-B42D-00C04FC964FF"), QStringLiteral("640 × 480"),
                         QStringLiteral("/home/u/.local/share/Stashwell/blobs/7F9619FF-8B86-D011-B42D-00C04FC964FF.png"),
                         QStringLiteral("Image · now"), {}, {}};
        const WidgetMessage m = WidgetMessage::state(QStringLiteral("app.id"),
                                                     WidgetMessage::openPaletteAction(QStringLiteral("O"), QStringLiteral("D")),
                                                     {text, image}, QStringLiteral("Recent"));
        const QByteArray json = encoded(m);
        QVERIFY(!json.contains("null"));
        const QJsonObject object = QJsonDocument::fromJson(json).object();
        QCOMPARE(object.keys(), (QStringList{"actions", "app", "items", "itemsTitle", "locked", "name", "type", "v"}));
        QVERIFY(json.startsWith(R"({"v":1,"type":"widget.state","app":"app.id","name":"Stashwell","actions":)"));
        QVERIFY(json.contains(R"("items":[{"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","title":"hello",)"
                              R"("meta":"Text · 5 min. ago"},{"id":"7F9619FF-8B86-D011-B42D-00C04FC964FF",)"
                              R"("title":"640 × 480","path":"/home/u/.local/share/Stashwell/blobs/)"
                              R"(7F9619FF-8B86-D011-B42D-00C04FC964FF.png","meta":"Image · now"}],)"));
        QVERIFY(json.endsWith(R"("itemsTitle":"Recent","locked":false})"));
        QCOMPARE(WidgetMessage::decode(json), std::optional<WidgetMessage>(m));
    }

    void absentOptionalsAreLeftOut()
    {
        QCOMPARE(encoded(envelope(QStringLiteral("x"))), QByteArray(R"({"v":1,"type":"x","app":"com.norvane.Stashwell"})"));
        WidgetMessage m = envelope(QStringLiteral("x"));
        m.data = WidgetData{};     // every field optional: an empty object
        m.status = WidgetStatus{};
        m.ear = WidgetEar{};       // only its required fields
        QCOMPARE(encoded(m), QByteArray(R"({"v":1,"type":"x","app":"com.norvane.Stashwell",)"
                                        R"("ear":{"text":"","priority":0},"data":{},"status":{}})"));
    }

    void emptyArraysAndMapsAreWritten()
    {
        WidgetMessage m = envelope(QStringLiteral("x"));
        m.actions = QList<WidgetAction>{};
        m.rect = QList<double>{};
        m.placedIds = QStringList{};
        m.data = WidgetData{};
        m.data->facts = QMap<QString, QString>{};
        m.data->valuesSeries = QList<QList<double>>{{}};
        const QByteArray json = encoded(m);
        QCOMPARE(json, QByteArray(R"({"v":1,"type":"x","app":"com.norvane.Stashwell","actions":[],"rect":[],)"
                                  R"("data":{"valuesSeries":[[]],"facts":{}},"placedIds":[]})"));
        QCOMPARE(WidgetMessage::decode(json), std::optional<WidgetMessage>(m));
    }

    // Every record's fields in the spec's order, and the whole message back unchanged.
    void everyFieldInOrderAndRoundTrip()
    {
        const WidgetMessage m = everything();
        const QByteArray json = encoded(m);
        QCOMPARE(json,
                 QByteArray(
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
                     R"("widgets":[{"id":"d","kind":"k","title":"D","symbol":"s","minW":1,"minH":2,"maxW":3,"maxH":4,)"
                     R"("chart":"c"}],"widgetId":"wid",)"
                     R"("data":{"value":"v","unit":"u","meta":"m","series":[1],"series2":[2],"gauge":0.25,)"
                     R"("breakdown":[["a","b"]],"seriesCap":8,"values":[3],"valuesSplit":9,"pressure":0.75,)"
                     R"("pressureSeries":[4],"seriesLong":[5],"series2Long":[6],"loadSeries":[7],)"
                     R"("valuesSeries":[[8,9],[]],"procs":[["p"]],"procsTotal":10,"procsSumGB":1.5,"partsGB":[11],)"
                     R"("facts":{"k":"v"}},"placedIds":["x","y"],"text":"tx","lang":"ja",)"
                     R"("status":{"sprite":"sp","text":"st"},"locked":true,"phase":"ph","dragApp":"da",)"
                     R"("dragTitle":"dt","zone":"z","snapLayouts":[{"id":"l","name":"L","columns":2,"rows":1,)"
                     R"("zones":[[0,1],[]]}]})"));
        QCOMPARE(WidgetMessage::decode(json), std::optional<WidgetMessage>(m));
    }

    // Edge case: quotes, backslashes, slashes and line breaks survive; no raw line break byte.
    void specialCharactersSurviveAndNoRawLineBreak_data()
    {
        QTest::addColumn<QString>("title");
        QTest::newRow("quotes") << QStringLiteral(R"(say "hi" and 'bye')");
        QTest::newRow("backslashes") << QStringLiteral(R"(C:\Users\me\ \\server\share \" \n)");
        QTest::newRow("slashes") << QStringLiteral("/usr/local/bin and https://example.org/a/b?c=d</script>");
        QTest::newRow("line breaks") << QStringLiteral("one\ntwo\r\nthree\rfour\n\n");
        QTest::newRow("controls") << QStringLiteral("tab\there\x01\x1f end\b\f") + QChar(0);
        QTest::newRow("separators") << QString::fromUtf8("line\u2028para\u2029next\u0085");
        QTest::newRow("non-ASCII") << QString::fromUtf8("héllo wörld — 日本語 Ελληνικά 👩‍👩‍👧 é ");
    }
    void specialCharactersSurviveAndNoRawLineBreak()
    {
        QFETCH(QString, title);
        WidgetMessage m = envelope(QString::fromLatin1(WidgetMessageType::state));
        m.items = QList<WidgetItem>{{QStringLiteral("id"), title, QStringLiteral("/tmp/") + title, title, {}, {}}};
        m.itemsTitle = title;
        const QByteArray json = encoded(m);
        QVERIFY(!json.contains('\n'));
        QVERIFY(!json.contains('\r'));
        const auto decoded = WidgetMessage::decode(json);
        QVERIFY(decoded);
        QCOMPARE(decoded->items->first().title, std::optional<QString>(title));
        QCOMPARE(decoded->items->first().path, std::optional<QString>(QStringLiteral("/tmp/") + title));
        QCOMPARE(*decoded, m);
    }

    void nonFiniteDoubleFailsEncoding_data()
    {
        QTest::addColumn<double>("value");
        QTest::newRow("nan") << std::numeric_limits<double>::quiet_NaN();
        QTest::newRow("+inf") << std::numeric_limits<double>::infinity();
        QTest::newRow("-inf") << -std::numeric_limits<double>::infinity();
    }
    void nonFiniteDoubleFailsEncoding()
    {
        QFETCH(double, value);
        WidgetMessage rect = envelope(QStringLiteral("x"));
        rect.rect = QList<double>{1, value};
        QVERIFY(!rect.encode());

        WidgetMessage tab = envelope(QStringLiteral("x"));
        tab.tab = WidgetTab{QStringLiteral("t"), {}, {}, value, 1};
        QVERIFY(!tab.encode());

        WidgetMessage nested = everything();
        nested.sessions->first().panes->first().agentPresentation->observedAt = value;
        QVERIFY(!nested.encode());

        WidgetMessage series = envelope(QStringLiteral("x"));
        series.data = WidgetData{};
        series.data->valuesSeries = QList<QList<double>>{{1}, {2, value}};
        QVERIFY(!series.encode());

        WidgetMessage ear = envelope(QStringLiteral("x"));
        ear.ear = WidgetEar{{}, QStringLiteral("e"), value, {}, 0, {}, {}};
        QVERIFY(!ear.encode());
    }

    void largeNumbersKeepTheirValue()
    {
        WidgetMessage m = everything();
        m.v = std::numeric_limits<qint64>::max();
        m.sessions->first().bg = std::numeric_limits<qint64>::min();
        m.widgets->first().minW = 9007199254740993; // 2^53 + 1: not exact as a double
        m.rect = QList<double>{1e300, -2.5e-300, 0.1, 1.0 / 3};
        const QByteArray json = encoded(m);
        QVERIFY(json.contains(R"("v":9223372036854775807)"));
        QVERIFY(json.contains(R"("minW":9007199254740993)"));
        QCOMPARE(WidgetMessage::decode(json), std::optional<WidgetMessage>(m));
    }

    // Edge case: a message without v, type or app is dropped; wrong types likewise.
    void envelopeRules_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("decodes");
        QTest::newRow("complete") << QByteArray(R"({"v":1,"type":"t","app":"a"})") << true;
        QTest::newRow("no v") << QByteArray(R"({"type":"t","app":"a"})") << false;
        QTest::newRow("no type") << QByteArray(R"({"v":1,"app":"a"})") << false;
        QTest::newRow("no app") << QByteArray(R"({"v":1,"type":"t"})") << false;
        QTest::newRow("null v") << QByteArray(R"({"v":null,"type":"t","app":"a"})") << false;
        QTest::newRow("null app") << QByteArray(R"({"v":1,"type":"t","app":null})") << false;
        QTest::newRow("v as string") << QByteArray(R"({"v":"1","type":"t","app":"a"})") << false;
        QTest::newRow("v with fraction") << QByteArray(R"({"v":1.5,"type":"t","app":"a"})") << false;
        QTest::newRow("v beyond 64 bits") << QByteArray(R"({"v":9223372036854775808,"type":"t","app":"a"})") << false;
        QTest::newRow("v as bool") << QByteArray(R"({"v":true,"type":"t","app":"a"})") << false;
        QTest::newRow("type as number") << QByteArray(R"({"v":1,"type":1,"app":"a"})") << false;
        QTest::newRow("other version") << QByteArray(R"({"v":7,"type":"t","app":"a"})") << true;
        QTest::newRow("v written 1.0") << QByteArray(R"({"v":1.0,"type":"t","app":"a"})") << true;
        QTest::newRow("v written 1e2") << QByteArray(R"({"v":1e2,"type":"t","app":"a"})") << true;
        QTest::newRow("unknown keys") << QByteArray(R"({"x":null,"v":1,"extra":{"y":[1,"z"]},"type":"t","app":"a","V":"no"})")
                                      << true;
        QTest::newRow("trailing CR") << QByteArray("{\"v\":1,\"type\":\"t\",\"app\":\"a\"}\r") << true;
        QTest::newRow("array") << QByteArray(R"([{"v":1,"type":"t","app":"a"}])") << false;
        QTest::newRow("string") << QByteArray(R"("widget.state")") << false;
        QTest::newRow("empty") << QByteArray("") << false;
        QTest::newRow("truncated") << QByteArray(R"({"v":1,"type":"t","app":"a")") << false;
        QTest::newRow("trailing garbage") << QByteArray(R"({"v":1,"type":"t","app":"a"}x)") << false;
        QTest::newRow("two objects") << QByteArray(R"({"v":1,"type":"t","app":"a"}{"v":1,"type":"t","app":"a"})") << false;
        QTest::newRow("invalid UTF-8") << QByteArray("{\"v\":1,\"type\":\"t\",\"app\":\"\xff\xfe\"}") << false;
        QTest::newRow("NaN literal") << QByteArray(R"({"v":1,"type":"t","app":"a","rect":[NaN]})") << false;
        QTest::newRow("huge double") << QByteArray(R"({"v":1,"type":"t","app":"a","rect":[1e400]})") << false;
    }
    void envelopeRules()
    {
        QFETCH(QByteArray, json);
        QFETCH(bool, decodes);
        QCOMPARE(WidgetMessage::decode(json).has_value(), decodes);
    }

    void unknownKeysAreIgnoredEverywhere()
    {
        const auto m = WidgetMessage::decode(
            R"({"v":1,"type":"widget.command","app":"a","future":1,"items":[{"id":"i","color":"red"}],)"
            R"("ear":{"text":"t","priority":1,"glow":true}})");
        QVERIFY(m);
        QCOMPARE(m->items->size(), 1);
        QCOMPARE(m->items->first(), (WidgetItem{QStringLiteral("i"), {}, {}, {}, {}, {}}));
        QCOMPARE(m->ear, std::optional<WidgetEar>(WidgetEar{{}, QStringLiteral("t"), {}, {}, 1, {}, {}}));
    }

    // Edge case: `itemId` null decodes with no item.
    void commandWithNullItemIdHasNoItem()
    {
        const auto m = WidgetMessage::decode(
            R"({"v":1,"type":"widget.command","app":"com.vendor.Skylet","actionId":"openPalette","itemId":null})");
        QVERIFY(m);
        QCOMPARE(m->type, QString::fromLatin1(WidgetMessageType::command));
        QCOMPARE(m->actionId, std::optional<QString>(QStringLiteral("openPalette")));
        QVERIFY(!m->itemId);
    }

    void commandAndHostInfoFields()
    {
        const auto command = WidgetMessage::decode(R"({"v":1,"type":"widget.command","app":"s","itemId":"X"})");
        QVERIFY(command);
        QCOMPARE(command->itemId, std::optional<QString>(QStringLiteral("X")));
        QVERIFY(!command->actionId);

        const auto withLang = WidgetMessage::decode(R"({"v":1,"type":"widget.hostinfo","app":"s","lang":"ja"})");
        QVERIFY(withLang);
        QCOMPARE(withLang->type, QString::fromLatin1(WidgetMessageType::hostInfo));
        QCOMPARE(withLang->lang, std::optional<QString>(QStringLiteral("ja")));

        const auto noLang = WidgetMessage::decode(R"({"v":1,"type":"widget.hostinfo","app":"s"})");
        QVERIFY(noLang);
        QVERIFY(!noLang->lang);
        QVERIFY(!WidgetMessage::decode(R"({"v":1,"type":"widget.hostinfo","app":"s","lang":7})"));
    }

    // Edge case: `ear` without `priority` rejects the whole message, although `ear` is never read.
    void earWithoutPriorityRejectsTheMessage()
    {
        QVERIFY(decodes(R"({"v":1,"type":"widget.hostinfo","app":"s","lang":"de","ear":{"text":"t","priority":0}})"));
        QVERIFY(!decodes(R"({"v":1,"type":"widget.hostinfo","app":"s","lang":"de","ear":{"text":"t"}})"));
    }

    // The required/optional/wrong-type rules in every nested record.
    void nestedRecordRules_data()
    {
        QTest::addColumn<QByteArray>("fields");
        QTest::addColumn<bool>("decodes");
        const auto row = [](const char *name, const char *fields, bool ok) {
            QTest::newRow(name) << QByteArray(fields) << ok;
        };
        row("ear complete", R"("ear":{"text":"t","priority":1,"level":0.5,"tint":3})", true);
        row("ear text missing", R"("ear":{"priority":1})", false);
        row("ear priority null", R"("ear":{"text":"t","priority":null})", false);
        row("ear level as string", R"("ear":{"text":"t","priority":1,"level":"0.5"})", false);
        row("ear level null", R"("ear":{"text":"t","priority":1,"level":null})", true);
        row("ear tint fraction", R"("ear":{"text":"t","priority":1,"tint":1.5})", false);
        row("ear not an object", R"("ear":"t")", false);
        row("ear array", R"("ear":[])", false);
        row("action complete", R"("actions":[{"id":"a","title":"A","tint":689407}])", true);
        row("action id missing", R"("actions":[{"title":"A"}])", false);
        row("action title missing", R"("actions":[{"id":"a"}])", false);
        row("action tint string", R"("actions":[{"id":"a","title":"A","tint":"0x0A84FF"}])", false);
        row("action null element", R"("actions":[null])", false);
        row("actions not an array", R"("actions":{"id":"a","title":"A"})", false);
        row("actions null", R"("actions":null)", true);
        row("item minimal", R"("items":[{"id":"i"}])", true);
        row("item id missing", R"("items":[{"title":"t"}])", false);
        row("item id number", R"("items":[{"id":1}])", false);
        row("item title number", R"("items":[{"id":"i","title":5}])", false);
        row("item path bool", R"("items":[{"id":"i","path":true}])", false);
        row("item sub null", R"("items":[{"id":"i","sub":null}])", true);
        row("item second bad", R"("items":[{"id":"i"},{"id":"j","meta":[]}])", false);
        row("tab complete", R"("tab":{"title":"t","width":1,"height":2.5})", true);
        row("tab width missing", R"("tab":{"title":"t","height":2})", false);
        row("tab height string", R"("tab":{"title":"t","width":1,"height":"2"})", false);
        row("tab icon number", R"("tab":{"title":"t","width":1,"height":2,"icon":1})", false);
        row("session minimal", R"("sessions":[{"id":"s","title":"S"}])", true);
        row("session title missing", R"("sessions":[{"id":"s"}])", false);
        row("session bg fraction", R"("sessions":[{"id":"s","title":"S","bg":0.5}])", false);
        row("session panes object", R"("sessions":[{"id":"s","title":"S","panes":{}}])", false);
        row("pane minimal", R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P"}]}])", true);
        row("pane title missing", R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p"}]}])", false);
        row("pane frame element string", R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P","frame":[1,"2"]}]}])", false);
        row("pane unread number", R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P","unread":1}]}])", false);
        row("agent complete",
            R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P","agentPresentation":)"
            R"({"activity":"a","revision":1,"sourceEpoch":"e","observedAt":2}}]}])",
            true);
        row("agent sourceEpoch missing",
            R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P","agentPresentation":)"
            R"({"activity":"a","revision":1,"observedAt":2}}]}])",
            false);
        row("agent observedAt string",
            R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P","agentPresentation":)"
            R"({"activity":"a","revision":1,"sourceEpoch":"e","observedAt":"2"}}]}])",
            false);
        row("agent pid fraction",
            R"("sessions":[{"id":"s","title":"S","panes":[{"id":"p","title":"P","agentPresentation":)"
            R"({"activity":"a","revision":1,"sourceEpoch":"e","observedAt":2,"pid":1.5}}]}])",
            false);
        row("decl complete", R"("widgets":[{"id":"d","kind":"k","title":"t","minW":1,"maxH":2}])", true);
        row("decl kind missing", R"("widgets":[{"id":"d","title":"t"}])", false);
        row("decl minW fraction", R"("widgets":[{"id":"d","kind":"k","title":"t","minW":2.5}])", false);
        row("decl chart number", R"("widgets":[{"id":"d","kind":"k","title":"t","chart":1}])", false);
        row("data empty", R"("data":{})", true);
        row("data facts", R"("data":{"facts":{"a":"b","c":""}})", true);
        row("data facts number value", R"("data":{"facts":{"a":1}})", false);
        row("data facts null value", R"("data":{"facts":{"a":null}})", false);
        row("data facts array", R"("data":{"facts":["a"]})", false);
        row("data breakdown", R"("data":{"breakdown":[["a","b"],[]]})", true);
        row("data breakdown flat", R"("data":{"breakdown":["a","b"]})", false);
        row("data breakdown number", R"("data":{"breakdown":[["a",1]]})", false);
        row("data valuesSeries string", R"("data":{"valuesSeries":[[1],["2"]]})", false);
        row("data seriesCap fraction", R"("data":{"seriesCap":1.5})", false);
        row("data gauge integer", R"("data":{"gauge":1})", true);
        row("data gauge bool", R"("data":{"gauge":false})", false);
        row("status", R"("status":{"text":"t"})", true);
        row("status sprite number", R"("status":{"sprite":1})", false);
        row("snap complete", R"("snapLayouts":[{"id":"l","name":"L","columns":2,"rows":1,"zones":[[0,1]]}])", true);
        row("snap zones missing", R"("snapLayouts":[{"id":"l","name":"L","columns":2,"rows":1}])", false);
        row("snap rows missing", R"("snapLayouts":[{"id":"l","name":"L","columns":2,"zones":[]}])", false);
        row("snap zone fraction", R"("snapLayouts":[{"id":"l","name":"L","columns":2,"rows":1,"zones":[[0.5]]}])", false);
        row("snap zone flat", R"("snapLayouts":[{"id":"l","name":"L","columns":2,"rows":1,"zones":[0,1]}])", false);
        row("rect", R"("rect":[0,1.5,-2,3e2])", true);
        row("rect null element", R"("rect":[0,null])", false);
        row("placedIds number", R"("placedIds":["a",1])", false);
        row("locked string", R"("locked":"false")", false);
        row("locked number", R"("locked":0)", false);
        row("itemId number", R"("itemId":5)", false);
        row("actionId object", R"("actionId":{})", false);
        row("zone null", R"("zone":null)", true);
    }
    void nestedRecordRules()
    {
        QFETCH(QByteArray, fields);
        QFETCH(bool, decodes);
        const QByteArray json = R"({"v":1,"type":"t","app":"a",)" + fields + '}';
        QCOMPARE(WidgetMessage::decode(json).has_value(), decodes);
    }

    void integersAndDoubles()
    {
        const auto m = WidgetMessage::decode(
            R"({"v":1e2,"type":"t","app":"a","tab":{"title":"t","width":5,"height":-0.5},)"
            R"("sessions":[{"id":"s","title":"S","bg":-9223372036854775808}],"data":{"seriesCap":3.0}})");
        QVERIFY(m);
        QCOMPARE(m->v, qint64(100));
        QCOMPARE(m->tab->width, 5.0);
        QCOMPARE(m->tab->height, -0.5);
        QCOMPARE(m->sessions->first().bg, std::optional<qint64>(std::numeric_limits<qint64>::min()));
        QCOMPARE(m->data->seriesCap, std::optional<qint64>(3));
    }

    void recordsCompareFieldByField()
    {
        WidgetMessage a = everything();
        WidgetMessage b = everything();
        QCOMPARE(a, b);
        b.data->facts->insert(QStringLiteral("k2"), QStringLiteral("v2"));
        QVERIFY(a != b);
        b = a;
        b.sessions->first().panes->first().unread = false;
        QVERIFY(a != b);
        b = a;
        b.items->first().tint.reset();
        QVERIFY(a != b);
    }
};

QTEST_GUILESS_MAIN(WidgetMessageTest)
#include "WidgetMessageTest.moc"
