// SPDX-License-Identifier: GPL-3.0-or-later
#include "onboarding/OnboardingKitController.h"

#include "onboarding/OKRootView.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QScreen>
#include <QVBoxLayout>
#include <cmath>

OnboardingKitController::OnboardingKitController(Options options, QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
{
    if (!m_options.screenArea)
        m_options.screenArea = primaryScreenArea;
}

OnboardingKitController::~OnboardingKitController()
{
    if (m_window) {
        m_finishing = true; // not the user's doing
        m_window->close();
    }
}

std::optional<QRect> OnboardingKitController::primaryScreenArea()
{
    if (const QScreen *screen = QGuiApplication::primaryScreen())
        return screen->availableGeometry();
    return std::nullopt;
}

int OnboardingKitController::maxContentHeight() const
{
    const std::optional<QRect> area = m_options.screenArea();
    return area ? area->height() - screenMargin : heightWithoutScreen;
}

void OnboardingKitController::show(bool startAtPermissions)
{
    if (m_window) {
        m_window->raise();
        m_window->activateWindow();
        return;
    }
    const QList<OKStep> steps = makeSteps ? makeSteps() : QList<OKStep>();
    int start = 0;
    if (startAtPermissions)
        for (int i = 0; i < steps.size(); ++i)
            if (steps[i].kind == OKStep::Kind::permissions) {
                start = i;
                break;
            }
    const std::optional<qint64> pinnedPage = OnboardingKitEnv::pinnedPage(legacyEnv, m_options.environment);
    if (pinnedPage)
        start = int(qBound<qint64>(0, *pinnedPage, qMax<qint64>(0, steps.size() - 1)));

    m_window = new ClosingWindow;
    m_window->setObjectName(QStringLiteral("onboardingWindow"));
    m_window->setAttribute(Qt::WA_DeleteOnClose);
    m_window->setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    m_window->setWindowTitle(QStringLiteral("Stashwell"));
    m_window->setWindowIcon(QIcon(QStringLiteral(":/com.norvane.Stashwell.svg")));
    m_window->setFixedSize(width, initialHeight);
    auto *layout = new QVBoxLayout(m_window);
    layout->setContentsMargins(0, 0, 0, 0);
    m_root = new OKRootView(steps, strings ? strings() : OKStrings{}, start, pinnedPage.has_value(),
                            maxContentHeight(), m_options.timers, m_window);
    layout->addWidget(m_root);
    m_root->onHeight = [this](double height) { resize(height); };
    m_root->onFinish = [this] { finish(); };
    connect(m_window, &ClosingWindow::closing, this, &OnboardingKitController::windowWillClose);

    resize(m_root->measuredHeight());
    if (const std::optional<QRect> area = m_options.screenArea()) {
        QRect frame(QPoint(), m_window->size());
        frame.moveCenter(area->center());
        m_window->move(frame.topLeft());
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void OnboardingKitController::resize(double requested)
{
    if (!m_window)
        return;
    const int height = qMin(int(std::lround(requested)), maxContentHeight());
    if (height <= 0 || std::abs(height - m_window->height()) < 0.5)
        return;
    const QRect before = m_window->geometry();
    m_window->setFixedSize(width, height);
    QRect after(before.topLeft(), QSize(width, height)); // the top edge stays
    if (const std::optional<QRect> area = m_options.screenArea(); area && after.bottom() > area->bottom())
        after.moveBottom(area->bottom());
    m_window->setGeometry(after);
}

void OnboardingKitController::finish()
{
    m_finishing = true;
    if (m_window)
        m_window->close();
    m_window = nullptr;
    m_root = nullptr;
    m_finishing = false;
    if (onCompleted)
        onCompleted();
}

void OnboardingKitController::windowWillClose()
{
    if (m_finishing)
        return;
    m_window = nullptr;
    m_root = nullptr;
    if (onClosedByUser)
        onClosedByUser();
}
