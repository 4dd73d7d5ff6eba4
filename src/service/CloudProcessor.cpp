#include "CloudProcessor.h"

#include "core/DecodeError.h"
#include "core/Http.h"
#include "core/Text.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QUuid>

#include <QCoroTimer>

namespace ondrel {

namespace {

CloudProcessorError uploadFailed(const QString& message) {
    return CloudProcessorError(CloudProcessorError::Kind::uploadFailed, message);
}

// The object went away while the run waited; nobody reads what follows.
CloudProcessorError abandoned() {
    return CloudProcessorError(CloudProcessorError::Kind::processingFailed, QStringLiteral("Cancelled"));
}

} // namespace

QString ProcessingSteps::rawValue(ProcessingStep step) {
    switch (step) {
    case ProcessingStep::idle:
        return QStringLiteral("Idle");
    case ProcessingStep::extracting:
        return QStringLiteral("Extracting audio...");
    case ProcessingStep::uploading:
        return QStringLiteral("Uploading to cloud...");
    case ProcessingStep::transcribing:
        return QStringLiteral("Transcribing...");
    case ProcessingStep::analyzing:
        return QStringLiteral("Analyzing story structure...");
    case ProcessingStep::translating:
        return QStringLiteral("Translating...");
    case ProcessingStep::complete:
        return QStringLiteral("Complete");
    case ProcessingStep::error:
        return QStringLiteral("Error");
    }
    return {};
}

double ProcessingSteps::progress(ProcessingStep step) {
    switch (step) {
    case ProcessingStep::idle:
        return 0.0;
    case ProcessingStep::extracting:
        return 0.1;
    case ProcessingStep::uploading:
        return 0.2;
    case ProcessingStep::transcribing:
        return 0.4;
    case ProcessingStep::analyzing:
        return 0.6;
    case ProcessingStep::translating:
        return 0.8;
    case ProcessingStep::complete:
        return 1.0;
    case ProcessingStep::error:
        return 0.0;
    }
    return 0.0;
}

QString CloudProcessorError::description() const {
    switch (m_kind) {
    case Kind::uploadFailed:
        return QStringLiteral("Upload failed: ") + m_message;
    case Kind::processingFailed:
        return QStringLiteral("Processing failed: ") + m_message;
    case Kind::pollingTimeout:
        return QStringLiteral("Processing timeout - please try again");
    case Kind::invalidResults:
        return QStringLiteral("Invalid results received from server");
    }
    return {};
}

CloudProcessor::CloudProcessor(const Endpoints& endpoints, std::chrono::milliseconds pollInterval,
                               QObject* parent)
    : QObject(parent)
    , m_api(endpoints)
    , m_pollInterval(pollInterval) {}

QCoro::Task<CloudResult<MiningResults>> CloudProcessor::processAudio(QUrl fileURL, QString token,
                                                                     MiningMode mode) {
    QPointer<CloudProcessor> self(this);
    setErrorMessage(std::nullopt);
    setResults(std::nullopt);
    setCurrentStep(ProcessingStep::uploading);
    setProgress(ProcessingSteps::progress(ProcessingStep::uploading));

    const CloudResult<QString> uploaded = co_await uploadAudio(fileURL, token);
    if (!self)
        co_return abandoned();
    if (const auto* error = std::get_if<CloudProcessorError>(&uploaded))
        co_return *error;
    const QString jobId = std::get<QString>(uploaded);
    setCurrentStep(ProcessingStep::transcribing);
    setProgress(ProcessingSteps::progress(ProcessingStep::transcribing));

    const std::optional<CloudProcessorError> refused = co_await startProcessing(jobId, token, mode);
    if (refused)
        co_return *refused;
    if (!self)
        co_return abandoned();

    const CloudResult<MiningResults> polled = co_await pollForResults(jobId, token);
    if (!self)
        co_return abandoned();
    if (const auto* error = std::get_if<CloudProcessorError>(&polled))
        co_return *error;
    const MiningResults results = std::get<MiningResults>(polled);
    setCurrentStep(ProcessingStep::complete);
    setProgress(1.0);
    setResults(results);
    co_return results;
}

QCoro::Task<CloudResult<QString>> CloudProcessor::uploadAudio(QUrl fileURL, QString token) {
    if (!isHeaderSafe(token))
        co_return uploadFailed(kUnsendableToken);
    const QString path = fileURL.isLocalFile() ? fileURL.toLocalFile() : fileURL.path();
    const QString name = QFileInfo(path).fileName();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        const QString why = file.exists()
                                ? QStringLiteral("The file “%1” couldn’t be opened.").arg(name)
                                : QStringLiteral("The file “%1” couldn’t be opened because there is no "
                                                 "such file.")
                                      .arg(name);
        co_return uploadFailed(why);
    }

    const QByteArray boundary = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper().toLatin1();
    QByteArray body;
    body += "--" + boundary + "\r\n";
    // The name goes in as it is, quotes and all.
    body += "Content-Disposition: form-data; name=\"file\"; filename=\"" + name.toUtf8() + "\"\r\n";
    body += "Content-Type: audio/wav\r\n\r\n";
    body += file.readAll();
    body += "\r\n";
    body += "--" + boundary + "--\r\n";

    HttpRequest request;
    request.method = "POST";
    request.url = m_api.baseURL() + QStringLiteral("/api/v1/upload");
    request.headers.emplaceBack("Authorization", "Bearer " + token.toUtf8());
    request.headers.emplaceBack("Content-Type", "multipart/form-data; boundary=" + boundary);
    request.body = std::move(body);
    const std::shared_ptr<QNetworkAccessManager> network = m_api.network();
    const HttpResponse response = co_await sendHttp(*network, std::move(request));

    if (!response.transportOk)
        co_return uploadFailed(response.errorText);
    if (response.status >= 200 && response.status <= 299) {
        if (const auto answer = decodeJson<UploadResponse>(response.body))
            co_return answer->jobId;
        co_return uploadFailed(decoderDescription<UploadResponse>(response.body));
    }
    const QString text = strictUtf8(response.body).value_or(QStringLiteral("Unknown error"));
    co_return uploadFailed(QStringLiteral("HTTP ") + QString::number(response.status) + QStringLiteral(": ") +
                           redactSecret(text, token));
}

QCoro::Task<std::optional<CloudProcessorError>> CloudProcessor::startProcessing(QString jobId, QString token,
                                                                                MiningMode mode) {
    const QByteArray body =
        encodeJson(ProcessRequest{jobId, MiningModes::rawValue(mode)}).value_or(QByteArray());
    const APIResult<QByteArray> answer =
        co_await m_api.request(QStringLiteral("/api/v1/process"), token, QByteArray("POST"), body);
    if (const auto* error = std::get_if<APIError>(&answer))
        co_return CloudProcessorError(CloudProcessorError::Kind::processingFailed, error->description());
    co_return std::nullopt;
}

QCoro::Task<CloudResult<MiningResults>> CloudProcessor::pollForResults(QString jobId, QString token) {
    QPointer<CloudProcessor> self(this);
    const APIClient api = m_api;
    const std::chrono::milliseconds interval = m_pollInterval;
    // The id is one path segment, whatever the service put in it.
    const QString endpoint =
        QStringLiteral("/api/v1/jobs/") + QString::fromLatin1(QUrl::toPercentEncoding(jobId));

    for (int attempt = 1; attempt <= kMaxPollingAttempts; ++attempt) {
        const APIResult<QByteArray> answer = co_await api.request(endpoint, token);
        if (!self)
            co_return abandoned();
        QString failure;
        if (const auto* error = std::get_if<APIError>(&answer)) {
            failure = error->description();
        } else if (const auto status = decodeJson<JobStatusResponse>(std::get<QByteArray>(answer)); !status) {
            failure = decoderDescription<JobStatusResponse>(std::get<QByteArray>(answer));
        } else {
            // Progress only rises; a lower figure from the service is ignored.
            if (status->progress > m_progress)
                setProgress(status->progress);
            if (status->status == QStringLiteral("transcribing")) {
                setCurrentStep(ProcessingStep::transcribing);
            } else if (status->status == QStringLiteral("analyzing")) {
                setCurrentStep(ProcessingStep::analyzing);
            } else if (status->status == QStringLiteral("translating")) {
                setCurrentStep(ProcessingStep::translating);
            } else if (status->status == QStringLiteral("complete")) {
                if (status->result)
                    co_return *status->result;
                co_return CloudProcessorError(CloudProcessorError::Kind::invalidResults);
            } else if (status->status == QStringLiteral("error")) {
                co_return CloudProcessorError(CloudProcessorError::Kind::processingFailed,
                                              QStringLiteral("Server reported error"));
            }
        }
        if (!failure.isEmpty())
            qWarning().noquote() << QStringLiteral("Polling attempt %1 failed: %2").arg(attempt).arg(failure);
        co_await QCoro::sleepFor(interval);
        if (!self)
            co_return abandoned();
    }
    co_return CloudProcessorError(CloudProcessorError::Kind::pollingTimeout);
}

void CloudProcessor::setCurrentStep(ProcessingStep step) {
    if (m_currentStep == step)
        return;
    m_currentStep = step;
    emit currentStepChanged();
}

void CloudProcessor::setErrorMessage(std::optional<QString> message) {
    if (m_errorMessage == message)
        return;
    m_errorMessage = std::move(message);
    emit errorMessageChanged();
}

void CloudProcessor::setProgress(double value) {
    if (m_progress == value)
        return;
    m_progress = value;
    emit progressChanged();
}

void CloudProcessor::setResults(std::optional<MiningResults> results) {
    // Every new result is news, even one equal to the last.
    m_results = std::move(results);
    emit resultsChanged();
}

} // namespace ondrel
