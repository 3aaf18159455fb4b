// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandOfferReader.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

WaylandOfferReader::WaylandOfferReader(WaylandWatches &watches, Receive receive, QList<Step> steps, Limits limits,
                                       Done done)
    : m_watches(watches)
    , m_receive(std::move(receive))
    , m_steps(std::move(steps))
    , m_limits(limits)
    , m_done(std::move(done))
{
}

WaylandOfferReader::~WaylandOfferReader()
{
    finish(std::nullopt);
}

QList<WaylandOfferReader::Step> WaylandOfferReader::steps(const ClipboardReadRequest &request,
                                                          const QStringList &offered)
{
    QList<Step> steps;
    for (const ClipboardWant &want : request.wants)
        steps.append({want.candidates(offered), want.maxBytes});
    return steps;
}

QList<WaylandOfferReader::Step> WaylandOfferReader::everyType(const QStringList &offered, qint64 maxBytes)
{
    QList<Step> steps;
    for (const QString &type : offered)
        steps.append({{type}, maxBytes});
    return steps;
}

void WaylandOfferReader::start()
{
    next();
}

void WaylandOfferReader::next()
{
    while (m_step < m_steps.size() && m_candidate >= m_steps[m_step].types.size()) {
        ++m_step;
        m_candidate = 0;
    }
    if (m_step == m_steps.size())
        return finish(m_item);
    receiveCandidate();
}

void WaylandOfferReader::receiveCandidate()
{
    // Only the reading end is non-blocking: many owners write their data in one blocking write.
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        return finish(std::nullopt);
    fcntl(fds[0], F_SETFL, O_NONBLOCK);
    m_receive(m_steps[m_step].types[m_candidate], fds[1]); // the request carries a duplicate
    close(fds[1]);
    m_fd = fds[0];
    m_bytes.clear();
    onReadable(POLLIN);
}

void WaylandOfferReader::onReadable(short revents)
{
    m_watch = 0;
    if (m_limits.deadline.hasExpired())
        return finish(std::nullopt);
    if (!revents)
        return endCandidate(std::nullopt); // silent for too long: the next type
    const qint64 share = std::min(m_steps[m_step].maxBytes, m_limits.maxTotalBytes - m_totalBytes);
    char buffer[64 * 1024];
    for (;;) {
        const ssize_t n = read(m_fd, buffer, sizeof buffer);
        if (n > 0) {
            if (m_bytes.size() + n > share)
                return m_limits.wholeOrNothing ? finish(std::nullopt) : endCandidate(std::nullopt);
            m_bytes.append(buffer, n);
        } else if (n == 0) {
            return endCandidate(m_bytes); // the owner closed its end: all there is
        } else if (errno == EAGAIN) {
            const QDeadlineTimer silence(m_limits.silenceMs);
            m_watch = m_watches.watch(m_fd, POLLIN, std::min(silence, m_limits.deadline),
                                         [this](short events) { onReadable(events); });
            return;
        } else if (errno != EINTR) {
            return endCandidate(std::nullopt);
        }
    }
}

void WaylandOfferReader::endCandidate(std::optional<QByteArray> bytes)
{
    closePipe();
    if (bytes) {
        m_totalBytes += bytes->size();
        m_item.append({m_steps[m_step].types[m_candidate], *bytes});
        ++m_step;
        m_candidate = 0;
    } else {
        ++m_candidate;
    }
    next();
}

void WaylandOfferReader::closePipe()
{
    if (m_watch)
        m_watches.unwatch(m_watch);
    m_watch = 0;
    if (m_fd >= 0)
        close(m_fd);
    m_fd = -1;
}

void WaylandOfferReader::finish(std::optional<ClipboardItemData> result)
{
    if (!m_done)
        return;
    closePipe();
    const Done done = std::exchange(m_done, nullptr);
    done(std::move(result));
}
