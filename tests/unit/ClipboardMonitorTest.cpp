// SPDX-License-Identifier: GPL-3.0-or-later
// The monitor against a fake clipboard: what each copy becomes, what is never recorded, reads once.
#include "capture/ClipboardMonitor.h"
#include "capture/SecurityPolicy.h"
#include "fakes/StoreFixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>
#include <QtTest>

using Formats = QList<std::pair<QString, QByteArray>>;
Q_DECLARE_METATYPE(Formats)

class ClipboardMonitorTest : public QObject {
    Q_OBJECT
    std::unique_ptr<StoreFixture> f;
    std::unique_ptr<FakeClipboard> clipboard;
    FakeActiveWindow window;
    std::unique_ptr<ClipboardMonitor> monitor;

    void copy(const Formats &formats)
    {
        auto *data = new QMimeData;
        for (const auto &[format, bytes] : formats)
            data->setData(format, bytes);
        clipboard->copy(data);
    }
    QStringList texts() const
    {
        QStringList texts;
        for (const ClipItem &item : f->store->items())
            texts << item.text.value_or(QString());
        return texts;
    }
    QStringList skipReasons() const
    {
        QStringList reasons;
        for (const auto &[name, properties] : f->events)
            if (name == QLatin1String("capture.skipped"))
                reasons << properties.value(QStringLiteral("reason")).toString();
        return reasons;
    }
    // One step of a copy sequence; the steps of one group happen before the monitor hears of any.
    void run(const QString &step)
    {
        const QString word = step.section(QLatin1Char(' '), 0, 0);
        const QByteArray arg = step.section(QLatin1Char(' '), 1).toUtf8();
        if (word == QLatin1String("copy"))
            copy({{"text/plain", arg}});
        else if (word == QLatin1String("secret"))
            copy({{"text/plain", arg}, {SecurityPolicy::passwordManagerHintType, "secret"}});
        else if (word == QLatin1String("concealed"))
            copy({{"text/plain", arg}, {SecurityPolicy::concealedType, {}}});
        else if (word == QLatin1String("own")) { // as the paste service writes and restores
            auto *data = new QMimeData;
            data->setText(QString::fromUtf8(arg));
            clipboard->write(data);
            monitor->ignoreChangeCount(clipboard->changeCount());
        } else if (word == QLatin1String("app"))
            window.app = FrontApp{QString::fromUtf8(arg), QString::fromUtf8(arg)};
        else if (word == QLatin1String("pause") || word == QLatin1String("resume"))
            f->settings.setMonitoringPaused(word == QLatin1String("pause"));
        else if (word == QLatin1String("hold"))
            clipboard->holdReads = true;
        else if (word == QLatin1String("release")) {
            clipboard->holdReads = false;
            clipboard->finishReads();
        } else
            QFAIL(qPrintable(step));
    }

private slots:
    void init()
    {
        f = std::make_unique<StoreFixture>();
        clipboard = std::make_unique<FakeClipboard>();
        clipboard->copyText(QStringLiteral("there before launch"));
        window.app = FrontApp{QStringLiteral("org.kde.kate"), QStringLiteral("Kate")};
        monitor = std::make_unique<ClipboardMonitor>(*clipboard, window, f->settings, *f->store,
                                                     [this](const QString &n, const QVariantMap &p) {
                                                         f->events.append({n, p});
                                                     });
        monitor->start();
    }

    void sequences_data()
    {
        QTest::addColumn<QStringList>("groups"); // steps separated by "; "
        QTest::addColumn<QStringList>("history"); // newest first
        QTest::addColumn<QStringList>("skipped");
        QTest::addColumn<int>("reads");
        const QStringList none;
        QTest::newRow("before launch") << none << none << none << 0;
        QTest::newRow("every copy") << QStringList{"copy a", "copy b", "copy c"} << QStringList{"c", "b", "a"} << none << 3;
        QTest::newRow("same text again moves it") << QStringList{"copy a", "copy b", "copy a"} << QStringList{"a", "b"}
                                                  << none << 3;
        QTest::newRow("copy during a slow read is read next")
            << QStringList{"hold", "copy a", "copy b", "release"} << QStringList{"b"} << none << 2;
        QTest::newRow("copies between reads: only the last is left")
            << QStringList{"copy a; copy b; copy c"} << QStringList{"c"} << none << 1;
        QTest::newRow("own write") << QStringList{"own x"} << none << none << 0;
        QTest::newRow("own write, then a copy") << QStringList{"own x; copy b"} << QStringList{"b"} << none << 1;
        QTest::newRow("copy replaced by an own write") << QStringList{"copy a; own x"} << none << none << 0;
        QTest::newRow("own write during a slow read")
            << QStringList{"hold", "copy a", "own x", "release", "copy b"} << QStringList{"b"} << none << 2;
        QTest::newRow("paused") << QStringList{"pause", "copy a", "resume", "copy b"} << QStringList{"b"}
                                << QStringList{"paused"} << 1;
        QTest::newRow("password manager") << QStringList{"secret hunter2", "concealed pin"} << none
                                          << QStringList{"concealed", "concealed"} << 2;
        QTest::newRow("secret during a slow read")
            << QStringList{"hold", "copy a", "secret hunter2", "release"} << none << QStringList{"concealed"} << 2;
        QTest::newRow("excluded application is not even read")
            << QStringList{"app org.keepassxc.KeePassXC", "copy hunter2"} << none << QStringList{"excludedApp"} << 0;
    }
    void sequences()
    {
        QFETCH(QStringList, groups);
        QFETCH(QStringList, history);
        QFETCH(QStringList, skipped);
        QFETCH(int, reads);
        for (const QString &group : std::as_const(groups)) {
            for (const QString &step : group.split(QStringLiteral("; ")))
                run(step);
            QCoreApplication::processEvents();
        }
        monitor->tick();
        QCOMPARE(texts(), history); // nothing secret, nothing of our own
        QCOMPARE(skipReasons(), skipped);
        QCOMPARE(clipboard->reads, reads);
        QVERIFY(monitor->ignoredChangeCounts().isEmpty()); // each own write was seen
    }

    void sourceIsTheApplicationInFrontAtTheCopy()
    {
        clipboard->holdReads = true;
        clipboard->copyText(QStringLiteral("from kate"));
        QCoreApplication::processEvents();
        window.app = FrontApp{QStringLiteral("org.mozilla.firefox"), QStringLiteral("Firefox")};
        clipboard->finishReads();
        QCOMPARE(f->store->items().value(0).sourceAppBundleID, QStringLiteral("org.kde.kate"));

        window.app = FrontApp{QString(), QString()};
        clipboard->copyText(QStringLiteral("anonymous"));
        QCoreApplication::processEvents();
        clipboard->finishReads();
        QCOMPARE(f->store->items().value(0).text, QStringLiteral("anonymous"));
        QVERIFY(!f->store->items()[0].sourceAppBundleID && !f->store->items()[0].sourceAppName);
    }

    void classifies_data()
    {
        const QByteArray png = StoreFixture::encodedImage(4, 3, Qt::red);
        const quint16 rgba[4] = {65535, 32768, 0, 65535}; // application/x-color: native-endian 16-bit RGBA
        QTest::addColumn<Formats>("formats");
        QTest::addColumn<QJsonObject>("entry"); // the fields to check; empty: nothing recorded
        const auto text = [](const char *kind, const char *text) { return QJsonObject{{"kind", kind}, {"text", text}}; };
        QTest::newRow("link, trimmed") << Formats{{"text/plain", " https://example.com/a?b=1 \n"}}
                                       << text("link", "https://example.com/a?b=1");
        QTest::newRow("link drops formatting")
            << Formats{{"text/plain", "https://example.com"}, {"text/html", "<a href=\"https://example.com\">x</a>"}}
            << QJsonObject{{"kind", "link"}, {"hasHTML", false}};
        QTest::newRow("link in a sentence") << Formats{{"text/plain", "see https://example.com now"}}
                                            << text("text", "see https://example.com now");
        for (const char *notLink : {"ftp://example.com/file", "http://", "http:/path/only"})
            QTest::addRow("not a link: %s", notLink) << Formats{{"text/plain", notLink}} << text("text", notLink);
        QTest::newRow("short colour") << Formats{{"text/plain", "#fff"}}
                                      << QJsonObject{{"kind", "color"}, {"text", "#fff"}, {"colorHex", "#FFFFFF"}};
        QTest::newRow("colour with alpha") << Formats{{"text/plain", " #a1B2c3ff\n"}}
                                           << QJsonObject{{"kind", "color"}, {"colorHex", "#A1B2C3"}};
        for (const char *notColour : {"#12345", "#GGGGGG", "fff"})
            QTest::addRow("not a colour: %s", notColour) << Formats{{"text/plain", notColour}} << text("text", notColour);
        QTest::newRow("colour object") // 0.50000762 * 255 = 127.5019 rounds up
            << Formats{{"application/x-color", QByteArray(reinterpret_cast<const char *>(rgba), 8)}}
            << QJsonObject{{"kind", "color"}, {"text", "#FF8000"}, {"colorHex", "#FF8000"}};
        QTest::newRow("two files")
            << Formats{{"text/uri-list", "file:///home/u/a%20b.txt\r\nfile:///home/u/c.pdf\r\n"},
                       {"text/plain", "file:///home/u/a%20b.txt"}}
            << QJsonObject{{"kind", "file"},
                           {"fileURLs", QJsonArray{"/home/u/a b.txt", "/home/u/c.pdf"}},
                           {"text", "/home/u/a b.txt\n/home/u/c.pdf"}};
        QTest::newRow("file manager's copied files")
            << Formats{{"x-special/gnome-copied-files", "copy\nfile:///tmp/x.png\nfile:///tmp/y%20z"}}
            << QJsonObject{{"kind", "file"}, {"fileURLs", QJsonArray{"/tmp/x.png", "/tmp/y z"}}};
        QTest::newRow("remote address list is a link")
            << Formats{{"text/uri-list", "https://example.com\r\n"}, {"text/plain", "https://example.com"}}
            << text("link", "https://example.com");
        QTest::newRow("file and image is a file")
            << Formats{{"text/uri-list", "file:///home/u/photo.png\r\n"}, {"image/png", png}}
            << QJsonObject{{"kind", "file"}, {"hasImage", false}};
        QTest::newRow("png, alt text ignored") << Formats{{"image/png", png}, {"text/plain", "alt text"}}
                                               << QJsonObject{{"kind", "image"}, {"pixelWidth", 4}, {"byteSize", png.size()}};
        QTest::newRow("tiff becomes png")
            << Formats{{"image/tiff", StoreFixture::encodedImage(7, 5, Qt::red, "TIFF")}}
            << QJsonObject{{"kind", "image"}, {"pixelWidth", 7}, {"pixelHeight", 5}};
        QTest::newRow("undecodable image") << Formats{{"image/tiff", "not an image"}, {"text/plain", "caption"}}
                                           << text("text", "caption");
        QTest::newRow("text keeps rtf and html")
            << Formats{{"text/plain", " bold text "}, {"text/html", "<b>bold text</b>"}, {"text/rtf", "{\\rtf1 bold}"}}
            << QJsonObject{{"kind", "text"}, {"text", " bold text "}, {"hasHTML", true}, {"hasRTF", true}};
        QTest::newRow("utf-8 text first") << Formats{{"text/plain;charset=utf-8", "h\xc3\xa9"}, {"text/plain", "h?"}}
                                          << text("text", "hé");
        QTest::newRow("html only") << Formats{{"text/html", "<p>x</p>"}} << QJsonObject();
        QTest::newRow("empty text") << Formats{{"text/plain", ""}} << QJsonObject();
    }
    void classifies()
    {
        QFETCH(Formats, formats);
        QFETCH(QJsonObject, entry);
        copy(formats);
        QCoreApplication::processEvents();
        QCOMPARE(f->store->items().size(), entry.isEmpty() ? 0 : 1);
        if (entry.isEmpty())
            return;
        const QJsonObject item = QJsonDocument::fromJson(f->store->items()[0].toJson()).object();
        for (auto it = entry.begin(); it != entry.end(); ++it)
            QVERIFY2(item.value(it.key()) == it.value(), qPrintable(it.key() + ": " + f->store->items()[0].toJson()));
    }
};

QTEST_MAIN(ClipboardMonitorTest)
#include "ClipboardMonitorTest.moc"
