#include "SampleWizard.h"

#include "app/PipelineWiring.h"
#include "support/TestEnv.h"
#include "ui/AccountModels.h"

#include <QDir>
#include <QProcess>
#include <QQuickItem>

#include <QCoroTask>

namespace ondrel::screens {

namespace {

void runTool(const QString& program, const QStringList& args) {
    QProcess p;
    p.start(program, args);
    p.waitForFinished(60000);
}

} // namespace

SampleWizard::SampleWizard(RenderContext& context) {
    const QString home = context.home + QStringLiteral("/wizard");
    const QString media = home + QStringLiteral("/media/A001_interview.wav");
    QDir().mkpath(home + QStringLiteral("/media"));
    runTool(QStringLiteral("/usr/bin/ffmpeg"), {"-v", "quiet", "-y", "-f", "lavfi", "-i",
                                                "sine=frequency=300:duration=40", "-ar", "48000", media});
    const QString state = home + QStringLiteral("/resolve_state.json");
    const QString program = R"PY(
import sys
sys.path.insert(0, sys.argv[1])
import fake_resolve_state as f
c = f.clip(sys.argv[3])
f.write(sys.argv[2], f.state(clips=[c], timelines=[f.timeline("Interview Selects", audio=[[f.item(c, 86400, 86400 + 960)]]),
                                                 f.timeline("Day 2 Pulls")]))
)PY";
    runTool(QStringLiteral("/usr/bin/python3"), {"-c", program, test::fakeResolveModuleDir(), state, media});

    env.tools = ToolPaths::platformDefault();
    env.paths = AppPaths::forHome(home);
    env.paths.resolveScriptApi = test::fixturesDir();
    env.paths.resolveScriptLib = test::fakeResolveModuleDir();
    env.env = QProcessEnvironment::systemEnvironment();
    env.env.insert(QStringLiteral("HOME"), home);
    env.env.insert(QStringLiteral("ONDREL_FAKE_RESOLVE_STATE"), state);
    env.endpoints.openaiHost = context.service.baseUrl();
    env.endpoints.anthropicHost = context.service.baseUrl();
    env.endpoints.ondrelHost = context.service.baseUrl();
    env.clock = &Clock::system();
    context.service.answerAlways("/api/v1/me",
                                 {200, R"({"id":"u1","name":"Maya Ortiz","email":"maya@lighthouse.film",)"
                                       R"("credits":128,"plan":"Studio Monthly"})"});
    auth = std::make_unique<AuthManager>(home + QStringLiteral("/.ondrel/token.json"), env.endpoints);
    QCoro::waitFor(auth->signInWithToken(QStringLiteral("sample-token")));
    AppServices::install({.auth = auth.get(), .makePipeline = [this] { return makePipeline(env); }});
}

SampleWizard::~SampleWizard() {
    AppServices::install({});
}

MineView* SampleWizard::wizardIn(QObject* root) {
    if (auto* shell = root->findChild<ShellModel*>())
        shell->setSelectedTab(1);
    settle(50);
    const auto views = root->findChildren<MineView*>();
    if (!views.isEmpty())
        return views.first();
    return root->property("wizard").value<MineView*>();
}

MiningResults SampleWizard::results() {
    MiningResults r;
    const struct {
        double start, end;
        const char* transcript;
        const char* translation;
        const char* chapter;
    } moments[] = {
        {12.4, 31.0, "Mi abuelo salía al mar antes del amanecer, todos los días.",
         "My grandfather went out to sea before dawn, every single day.", "Roots"},
        {44.0, 61.5, "Yo tenía siete años cuando me llevó por primera vez.",
         "I was seven the first time he took me with him.", "Roots"},
        {95.2, 118.0, "El barco se llamaba Esperanza. Nunca supe por qué.",
         "The boat was called Esperanza. I never knew why.", "Roots"},
        {301.0, 326.4, "Cuando cerraron la fábrica, el pueblo se quedó en silencio.",
         "When the cannery closed, the whole village went quiet.", "The Silence"},
        {340.5, 362.0, "Mi madre vendía pescado en la plaza, con frío o con calor.",
         "My mother sold fish in the square, cold or hot.", "The Silence"},
        {612.0, 640.8, "Volví después de veinte años y todo olía igual.",
         "I came back after twenty years and everything smelled the same.", "Coming Home"},
        {655.0, 671.2, "Ahora enseño a mis hijos a leer las mareas.",
         "Now I teach my kids to read the tides.", "Coming Home"},
        {702.3, 729.9, "El mar no te da nada. Te lo presta.",
         "The sea gives you nothing. It lends it to you.", "Coming Home"},
    };
    qint64 index = 1;
    for (const auto& m : moments) {
        r.segments.push_back({index, m.start, m.end, QStringLiteral("A001_interview.wav"),
                              QString::fromUtf8(m.transcript), QString::fromUtf8(m.translation),
                              QString::fromUtf8(m.chapter)});
        r.estimatedDuration += m.end - m.start;
        ++index;
    }
    r.structure.acts = {{QStringLiteral("Roots"), {1, 2, 3}},
                        {QStringLiteral("The Silence"), {4, 5}},
                        {QStringLiteral("Coming Home"), {6, 7, 8}}};
    r.structure.totalDuration = r.estimatedDuration;
    for (const StorySegment& s : r.segments)
        r.subtitles.push_back({s.startTime, s.endTime, s.translation});
    return r;
}

AuditReport SampleWizard::auditReport() {
    AuditReport a;
    a.coveragePercent = 38.5;
    a.confidenceScore = 64;
    a.summary = QStringLiteral("A tight, moving cut that leans on the early fishing memories and leaves the "
                               "mother's story and the return almost untold.");
    a.usedSegments = {{12, 31, {}}, {44, 61, {}}, {301, 326, {}}};
    a.buriedGold = {{340.5, 362.0, QStringLiteral("My mother sold fish in the square, cold or hot."),
                     QStringLiteral("The only moment about the mother; it gives the village a face."), 5},
                    {702.3, 729.9, QStringLiteral("The sea gives you nothing. It lends it to you."),
                     QStringLiteral("A natural closing line."), 4},
                    {95.2, 118.0, QStringLiteral("The boat was called Esperanza. I never knew why."),
                     QStringLiteral("A concrete, surprising detail."), 3}};
    a.redundancies = {{44, 61, 150, 166, QStringLiteral("The first trip at sea is told twice")}};
    a.alternates = {{301, 326, 410, 432,
                     QStringLiteral("The day the sirens stopped, nobody spoke for a week."),
                     QStringLiteral("Same beat, said with more feeling and in fewer words.")}};
    a.themeGaps = {QStringLiteral("the mother's work"), QStringLiteral("leaving the village"),
                   QStringLiteral("the next generation")};
    return a;
}

} // namespace ondrel::screens
