// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/HttpRequestParser.h"

#include <QRegularExpression>

namespace {

bool isTokenChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
        || QByteArrayView("!#$%&'*+-.^_`|~").contains(c);
}

bool isToken(const QByteArray &text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), isTokenChar);
}

bool hasControlChars(const QByteArray &text)
{
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto u = static_cast<unsigned char>(c);
        return (u < 0x20 && c != '\t') || u == 0x7f;
    });
}

// Finds the blank line that ends the head; accepts bare LF line ends, as RFC 9112 allows.
qsizetype headEnd(const QByteArray &buffer, qsizetype &separatorLength)
{
    const qsizetype crlf = buffer.indexOf("\r\n\r\n");
    const qsizetype lf = buffer.indexOf("\n\n");
    if (lf >= 0 && (crlf < 0 || lf < crlf)) {
        separatorLength = 2;
        return lf;
    }
    separatorLength = 4;
    return crlf;
}

} // namespace

HttpRequestParser::HttpRequestParser(Limits limits)
    : m_limits(limits)
{
}

HttpRequestParser::Result HttpRequestParser::fail(int status, const QString &message)
{
    m_errorStatus = status;
    m_errorMessage = message;
    return Result::Error;
}

HttpRequestParser::Result HttpRequestParser::feed(QByteArray &buffer)
{
    if (m_errorStatus)
        return Result::Error;
    if (!buffer.isEmpty())
        m_started = true;
    Result result = Result::NeedMore;
    while (result == Result::NeedMore) {
        const qsizetype before = buffer.size();
        const Stage stage = m_stage;
        switch (m_stage) {
        case Stage::Head: result = parseHead(buffer); break;
        case Stage::Body: result = readBody(buffer); break;
        case Stage::ChunkSize: result = readChunkSize(buffer); break;
        case Stage::ChunkData: result = readChunkData(buffer); break;
        case Stage::ChunkEnd: result = readChunkEnd(buffer); break;
        case Stage::Trailers: result = readTrailers(buffer); break;
        case Stage::Done: result = Result::Complete; break;
        }
        if (result == Result::NeedMore && buffer.size() == before && stage == m_stage)
            break; // no progress: wait for more bytes
    }
    return result;
}

HttpRequest HttpRequestParser::takeRequest()
{
    HttpRequest request = std::move(m_request);
    m_request = HttpRequest();
    m_stage = Stage::Head;
    m_started = false;
    m_trailerBytes = 0;
    return request;
}

bool HttpRequestParser::awaitsContinue() const
{
    return (m_stage == Stage::Body || m_stage == Stage::ChunkSize) && m_request.minorVersion >= 1
        && m_request.header("expect").toLower() == "100-continue";
}

HttpRequestParser::Result HttpRequestParser::parseHead(QByteArray &buffer)
{
    // Empty lines before a request line are ignored (RFC 9112, 2.2).
    while (buffer.startsWith("\r\n") || buffer.startsWith('\n'))
        buffer.remove(0, buffer.startsWith('\n') ? 1 : 2);
    if (buffer.isEmpty()) {
        m_started = false;
        return Result::NeedMore;
    }
    qsizetype separator = 0;
    const qsizetype end = headEnd(buffer, separator);
    if (end < 0) {
        if (buffer.size() > m_limits.maxHeaderBytes)
            return fail(431, QStringLiteral("request head too large"));
        return Result::NeedMore;
    }
    if (end > m_limits.maxHeaderBytes)
        return fail(431, QStringLiteral("request head too large"));
    const QByteArray head = buffer.left(end);
    buffer.remove(0, end + separator);

    QList<QByteArray> lines = head.split('\n');
    for (QByteArray &line : lines) {
        if (line.endsWith('\r'))
            line.chop(1);
    }
    if (Result r = parseRequestLine(lines.takeFirst()); r == Result::Error)
        return r;
    if (lines.size() > m_limits.maxHeaderCount)
        return fail(431, QStringLiteral("too many header fields"));
    for (const QByteArray &line : lines) {
        if (Result r = parseHeaderLine(line); r == Result::Error)
            return r;
    }
    return startBody();
}

HttpRequestParser::Result HttpRequestParser::parseRequestLine(const QByteArray &line)
{
    const QList<QByteArray> parts = line.split(' ');
    if (parts.size() != 3 || !isToken(parts[0]) || parts[1].isEmpty() || hasControlChars(parts[1]))
        return fail(400, QStringLiteral("malformed request line"));
    static const QRegularExpression version(QStringLiteral("^HTTP/(\\d)\\.(\\d)$"));
    const auto match = version.match(QString::fromLatin1(parts[2]));
    if (!match.hasMatch())
        return fail(400, QStringLiteral("malformed request line"));
    if (match.captured(1) != QLatin1String("1"))
        return fail(505, QStringLiteral("only HTTP/1.0 and HTTP/1.1 are served"));
    m_request.method = parts[0];
    m_request.target = parts[1];
    m_request.minorVersion = match.captured(2).toInt();
    if (!m_request.target.startsWith('/') && m_request.target != "*")
        return fail(400, QStringLiteral("request target must be a path"));
    return Result::NeedMore;
}

HttpRequestParser::Result HttpRequestParser::parseHeaderLine(const QByteArray &line)
{
    if (line.startsWith(' ') || line.startsWith('\t'))
        return fail(400, QStringLiteral("folded header lines are not accepted"));
    const qsizetype colon = line.indexOf(':');
    const QByteArray name = colon < 0 ? QByteArray() : line.left(colon);
    if (!isToken(name))
        return fail(400, QStringLiteral("malformed header field"));
    const QByteArray value = line.mid(colon + 1).trimmed();
    if (hasControlChars(value))
        return fail(400, QStringLiteral("control characters in a header field"));
    m_request.headers.append({name.toLower(), value});
    return Result::NeedMore;
}

HttpRequestParser::Result HttpRequestParser::startBody()
{
    QList<QByteArray> lengths;
    QList<QByteArray> codings;
    for (const auto &[name, value] : std::as_const(m_request.headers)) {
        if (name == "content-length")
            lengths += value.split(',');
        else if (name == "transfer-encoding")
            codings += value.split(',');
    }
    const QByteArray expect = m_request.header("expect").toLower();
    if (!expect.isEmpty() && expect != "100-continue")
        return fail(417, QStringLiteral("unsupported expectation"));
    if (!codings.isEmpty()) {
        // A request with both framings is a smuggling attempt (RFC 9112, 6.1).
        if (!lengths.isEmpty())
            return fail(400, QStringLiteral("both Content-Length and Transfer-Encoding"));
        if (codings.size() != 1 || codings.first().trimmed().toLower() != "chunked")
            return fail(501, QStringLiteral("only the chunked transfer coding is supported"));
        m_stage = Stage::ChunkSize;
        return Result::NeedMore;
    }
    qint64 length = 0;
    for (const QByteArray &text : std::as_const(lengths)) {
        const QByteArray trimmed = text.trimmed();
        bool ok = !trimmed.isEmpty() && std::all_of(trimmed.begin(), trimmed.end(), [](char c) { return c >= '0' && c <= '9'; })
            && trimmed.size() <= 18;
        const qint64 value = ok ? trimmed.toLongLong(&ok) : -1;
        if (!ok || (length && value != length))
            return fail(400, QStringLiteral("invalid Content-Length"));
        length = value;
    }
    if (length > m_limits.maxBodyBytes)
        return fail(413, QStringLiteral("request body larger than %1 bytes").arg(m_limits.maxBodyBytes));
    m_remaining = length;
    m_stage = length > 0 ? Stage::Body : Stage::Done;
    return m_stage == Stage::Done ? Result::Complete : Result::NeedMore;
}

HttpRequestParser::Result HttpRequestParser::readBody(QByteArray &buffer)
{
    const qint64 take = std::min<qint64>(m_remaining, buffer.size());
    m_request.body += buffer.left(take);
    buffer.remove(0, take);
    m_remaining -= take;
    if (m_remaining > 0)
        return Result::NeedMore;
    m_stage = Stage::Done;
    return Result::Complete;
}

bool HttpRequestParser::takeLine(QByteArray &buffer, QByteArray &line, qsizetype maxLength, bool &tooLong)
{
    const qsizetype lf = buffer.indexOf('\n');
    tooLong = (lf < 0 ? buffer.size() : lf) > maxLength;
    if (lf < 0 || tooLong)
        return false;
    line = buffer.left(lf);
    if (line.endsWith('\r'))
        line.chop(1);
    buffer.remove(0, lf + 1);
    return true;
}

HttpRequestParser::Result HttpRequestParser::readChunkSize(QByteArray &buffer)
{
    QByteArray line;
    bool tooLong = false;
    if (!takeLine(buffer, line, 1024, tooLong))
        return tooLong ? fail(400, QStringLiteral("malformed chunk size")) : Result::NeedMore;
    const qsizetype semicolon = line.indexOf(';'); // chunk extensions are ignored
    const QByteArray hex = (semicolon < 0 ? line : line.left(semicolon)).trimmed();
    bool ok = !hex.isEmpty() && hex.size() <= 15
        && std::all_of(hex.begin(), hex.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
    const qint64 size = ok ? hex.toLongLong(&ok, 16) : -1;
    if (!ok)
        return fail(400, QStringLiteral("malformed chunk size"));
    if (m_request.body.size() + size > m_limits.maxBodyBytes)
        return fail(413, QStringLiteral("request body larger than %1 bytes").arg(m_limits.maxBodyBytes));
    m_remaining = size;
    m_stage = size == 0 ? Stage::Trailers : Stage::ChunkData;
    return Result::NeedMore;
}

HttpRequestParser::Result HttpRequestParser::readChunkData(QByteArray &buffer)
{
    const qint64 take = std::min<qint64>(m_remaining, buffer.size());
    m_request.body += buffer.left(take);
    buffer.remove(0, take);
    m_remaining -= take;
    if (m_remaining == 0)
        m_stage = Stage::ChunkEnd;
    return Result::NeedMore;
}

HttpRequestParser::Result HttpRequestParser::readChunkEnd(QByteArray &buffer)
{
    QByteArray line;
    bool tooLong = false;
    if (!takeLine(buffer, line, 2, tooLong))
        return tooLong ? fail(400, QStringLiteral("chunk data longer than its size")) : Result::NeedMore;
    if (!line.isEmpty())
        return fail(400, QStringLiteral("chunk data longer than its size"));
    m_stage = Stage::ChunkSize;
    return Result::NeedMore;
}

HttpRequestParser::Result HttpRequestParser::readTrailers(QByteArray &buffer)
{
    QByteArray line;
    bool tooLong = false;
    while (takeLine(buffer, line, m_limits.maxHeaderBytes, tooLong)) {
        if (line.isEmpty()) {
            m_stage = Stage::Done;
            return Result::Complete;
        }
        m_trailerBytes += line.size();
        if (m_trailerBytes > m_limits.maxHeaderBytes)
            break;
    }
    if (tooLong || m_trailerBytes > m_limits.maxHeaderBytes)
        return fail(431, QStringLiteral("trailer section too large"));
    return Result::NeedMore;
}
