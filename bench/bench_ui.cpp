// Measures the desktop window against a bare QMainWindow started the same
// way (the floor), each in a child process of its own:
//   - cold start: from starting the process to the first painted window,
//     with the CPU time the child used until then (the median and fastest
//     of the runs are printed);
//   - idle RSS: resident memory one second after the window is shown;
// and, in this process, the longest main-thread stall (gap between ticks of
// a 10 ms heartbeat timer) while a 100 MB JSON body is formatted, shown,
// scrolled to the end and searched.
//
//   bench_ui [--runs N] [--size MB] [DOCUMENT]
//   bench_ui --child bare|kea [DOCUMENT]     (one start, used by the bench)
// Run with QT_QPA_PLATFORM=offscreen, or under xvfb-run.

#include "HXApplication.h"
#include "HXDocument.h"
#include "HXDocumentWindow.h"
#include "HXLargeTextView.h"
#include "HXManagedObjectContext.h"
#include "HXResponse.h"
#include "HXResponseViewer.h"
#include "HXWindowManager.h"

#include <QElapsedTimer>
#include <QFile>
#include <QMainWindow>
#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <cstdio>

#include <sys/resource.h>

namespace {

qint64 residentKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

// CPU time (user and system) this process has used so far, in milliseconds.
double cpuMilliseconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &time) { return double(time.tv_sec) * 1e3 + double(time.tv_usec) / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

// Reports "painted" at the first paint of the watched window, with the CPU
// time used until then: less disturbed than the wall time by a busy machine.
class PaintWatcher : public QObject
{
public:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && !m_painted) {
            m_painted = true;
            std::printf("painted cpu %.2f\n", cpuMilliseconds());
            std::fflush(stdout);
            QTimer::singleShot(1000, [] {
                std::printf("rss %lld\n", residentKilobytes());
                std::fflush(stdout);
                QCoreApplication::exit(0);
            });
        }
        return QObject::eventFilter(object, event);
    }

private:
    bool m_painted = false;
};

int runChild(int argc, char **argv, const QString &kind, const QString &document)
{
    // Each started as its program starts: Kea as its main() does.
    HXApplication app(argc, argv, kind == u"kea");
    PaintWatcher watcher;
    QWidget *window = nullptr;
    if (kind == u"bare") {
        auto *bare = new QMainWindow;
        bare->resize(1180, 760);
        bare->show();
        window = bare;
    } else {
        window = document.isEmpty() ? HXWindowManager::newDocument() : HXWindowManager::openFile(document);
    }
    if (window == nullptr)
        return 1;
    window->installEventFilter(&watcher);
    return HXApplication::exec();
}

struct Start
{
    double milliseconds = 0;
    double cpuMilliseconds = 0;
    qint64 rss = 0;
};

Start startChild(const QString &kind, const QString &document)
{
    QProcess child;
    QStringList arguments = {QStringLiteral("--child"), kind};
    if (!document.isEmpty())
        arguments.append(document);
    QElapsedTimer timer;
    timer.start();
    child.start(QCoreApplication::applicationFilePath(), arguments);
    Start start;
    QByteArray output;
    while (child.state() != QProcess::NotRunning || child.bytesAvailable() > 0) {
        child.waitForReadyRead(50);
        output += child.readAllStandardOutput();
        if (start.milliseconds == 0 && output.contains("painted"))
            start.milliseconds = double(timer.nsecsElapsed()) / 1e6;
        if (output.contains("rss ") && output.endsWith('\n'))
            break;
    }
    child.waitForFinished(5000);
    if (const qsizetype cpu = output.indexOf("painted cpu "); cpu >= 0)
        start.cpuMilliseconds = output.mid(cpu + 12).split('\n').first().toDouble();
    const qsizetype at = output.indexOf("rss ");
    start.rss = at < 0 ? -1 : output.mid(at + 4).trimmed().toLongLong();
    return start;
}

QByteArray largeJSON(int megabytes)
{
    QByteArray json = "[";
    for (int i = 0; json.size() < qsizetype(megabytes) * 1000 * 1000; ++i) {
        if (i > 0)
            json += ',';
        json += "{\"id\":" + QByteArray::number(i) + ",\"name\":\"User " + QByteArray::number(i) +
                "\",\"tags\":[\"a\",\"b\"],\"active\":true}";
    }
    return json + ']';
}

double longestStall(int megabytes)
{
    HXDocumentWindow *window = HXWindowManager::newDocument();
    window->setViewType(HXDocumentWindow::ResponseView);
    auto response = std::make_shared<HXResponse>();
    response->setHeadersData("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n");
    response->setBodyData(largeJSON(megabytes));
    response->setDate(QDateTime::currentDateTime());

    QElapsedTimer clock;
    clock.start();
    qint64 last = 0;
    qint64 longest = 0;
    QTimer heartbeat;
    heartbeat.setInterval(10);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        longest = std::max(longest, now - last);
        last = now;
    });
    auto wait = [](int ms) {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < ms)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    };
    // The longest stall of each step is printed too, to show where it is.
    qint64 overall = 0;
    auto step = [&](const char *name) {
        std::printf("  %-34s %7.1f ms\n", name, double(longest) / 1e6);
        overall = std::max(overall, longest);
        longest = 0;
    };
    heartbeat.start();
    last = clock.nsecsElapsed();
    QElapsedTimer call;
    call.start();
    window->responseViewer()->setResponses({response});
    longest = std::max(longest, call.nsecsElapsed());
    step("show the response");
    while (window->responseViewer()->isFormatting())
        wait(10);
    wait(100);
    step("format on the worker and show");
    HXLargeTextView *body = window->responseViewer()->bodyView();
    body->scrollToLine(body->lineCount());
    wait(100);
    step("scroll to the end");
    bool searched = false;
    QObject::connect(body, &HXLargeTextView::searchFinished, body, [&searched] { searched = true; });
    body->find(QStringLiteral("User %1\"").arg(megabytes * 1000));
    for (int i = 0; i < 500 && !searched; ++i)
        wait(10);
    wait(100);
    step("search");
    heartbeat.stop();
    window->document()->managedObjectContext()->markSaved();
    window->close();
    return double(overall) / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (arguments.value(0) == u"--child")
        return runChild(argc, argv, arguments.value(1), arguments.value(2));

    int runs = 5;
    int megabytes = 100;
    QString document;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == u"--runs")
            runs = std::max(1, arguments.value(++i).toInt());
        else if (arguments.at(i) == u"--size")
            megabytes = std::max(1, arguments.value(++i).toInt());
        else
            document = arguments.at(i);
    }
    HXApplication app(argc, argv);

    QList<double> bare, kea, bareCPU, keaCPU;
    qint64 bareRSS = 0, keaRSS = 0;
    for (int run = 0; run < runs; ++run) {
        const Start floor = startChild(QStringLiteral("bare"), QString());
        const Start window = startChild(QStringLiteral("kea"), document);
        bare.append(floor.milliseconds);
        kea.append(window.milliseconds);
        bareCPU.append(floor.cpuMilliseconds);
        keaCPU.append(window.cpuMilliseconds);
        bareRSS = floor.rss;
        keaRSS = window.rss;
    }
    auto median = [](QList<double> &values) {
        std::sort(values.begin(), values.end());
        return values.at(values.size() / 2);
    };
    const double bareMedian = median(bare), keaMedian = median(kea);
    const double bareCPUMedian = median(bareCPU), keaCPUMedian = median(keaCPU);
    std::printf("cold start to first paint (median of %d): kea %.0f ms, bare QMainWindow %.0f ms, ratio %.2f "
                "(aim <= 1.5)\n",
                runs, keaMedian, bareMedian, bareMedian > 0 ? keaMedian / bareMedian : 0);
    std::printf("  CPU time of the child until then (median): kea %.0f ms, bare QMainWindow %.0f ms, ratio %.2f\n",
                keaCPUMedian, bareCPUMedian, bareCPUMedian > 0 ? keaCPUMedian / bareCPUMedian : 0);
    // On a busy machine the fastest start is the one least disturbed.
    std::printf("  fastest start: kea %.0f ms, bare QMainWindow %.0f ms, ratio %.2f\n", kea.first(), bare.first(),
                bare.first() > 0 ? kea.first() / bare.first() : 0);
    std::printf("idle RSS: kea %.1f MB, bare QMainWindow %.1f MB (aim <= 80 MB)\n", double(keaRSS) / 1024,
                double(bareRSS) / 1024);
    std::printf("longest main-thread stall with a %d MB JSON body (format, show, scroll to end, search): %.1f ms "
                "(aim <= 50 ms)\n",
                megabytes, longestStall(megabytes));
    return 0;
}
