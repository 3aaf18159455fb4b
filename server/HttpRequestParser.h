// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/HttpRequest.h"

// Incremental HTTP/1.x request parser with hard limits, so that no input (slow, huge,
// malformed) can make the server grow without bound. Bodies come with Content-Length
// or chunked transfer coding.
class HttpRequestParser {
public:
    struct Limits {
        qint64 maxBodyBytes = 4 * 1024 * 1024;
        qsizetype maxHeaderBytes = 64 * 1024;
        int maxHeaderCount = 100;
    };
    enum class Result { NeedMore, Complete, Error };

    explicit HttpRequestParser(Limits limits);

    // Consumes what it can from the front of `buffer`.
    Result feed(QByteArray &buffer);
    // The request after Complete; the parser is then ready for the next one.
    HttpRequest takeRequest();
    // After Error: the status to answer with and why.
    int errorStatus() const { return m_errorStatus; }
    QString errorMessage() const { return m_errorMessage; }
    // True once the head asked for "100-continue" and the body is still to come.
    bool awaitsContinue() const;
    // True while nothing of a request has arrived yet (an idle keep-alive connection).
    bool idle() const { return m_stage == Stage::Head && !m_started; }

private:
    enum class Stage { Head, Body, ChunkSize, ChunkData, ChunkEnd, Trailers, Done };

    Result fail(int status, const QString &message);
    Result parseHead(QByteArray &buffer);
    Result parseRequestLine(const QByteArray &line);
    Result parseHeaderLine(const QByteArray &line);
    Result startBody();
    Result readBody(QByteArray &buffer);
    Result readChunkSize(QByteArray &buffer);
    Result readChunkData(QByteArray &buffer);
    Result readChunkEnd(QByteArray &buffer);
    Result readTrailers(QByteArray &buffer);
    // Takes one line (without its line end) from `buffer`, or returns false.
    bool takeLine(QByteArray &buffer, QByteArray &line, qsizetype maxLength, bool &tooLong);

    Limits m_limits;
    Stage m_stage = Stage::Head;
    bool m_started = false;
    HttpRequest m_request;
    qint64 m_remaining = 0;
    qsizetype m_trailerBytes = 0;
    int m_errorStatus = 0;
    QString m_errorMessage;
};
