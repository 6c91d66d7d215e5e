#include "QuarrydexApp/platform/linux/OpenRequest.h"

#include "QuarrydexCore/text/tr.h"

#include <QByteArray>

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

std::string nameOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const bool isWhole = slash == std::string::npos || slash + 1 == path.size();
    return isWhole ? path : path.substr(slash + 1);
}

std::string messageFor(const std::string& name, const GError& error) {
    if (g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED))
        return tr("No application is set up to open “{name}”.", {{"name", name}});
    if (g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND))
        return tr("“{name}” no longer exists.", {{"name", name}});
    return tr("“{name}” could not be opened: {reason}",
              {{"name", name}, {"reason", error.message}});
}

} // namespace

std::string fileUri(const std::string& path) {
    const auto bytes = QByteArray::fromRawData(path.data(), static_cast<qsizetype>(path.size()));
    return "file://" + bytes.toPercentEncoding("/").toStdString();
}

/// What a callback of GIO's gets back.
struct OpenRequest::Question {
    std::shared_ptr<OpenRequest> request;
    std::string path;

    static void answered(GObject* file, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Question> question(static_cast<Question*>(data));
        OpenRequest& request = *question->request;
        request.loop_.finished();
        GError* raised = nullptr;
        GlibPtr<GAppInfo> application(
            g_file_query_default_handler_finish(G_FILE(file), result, &raised));
        const GlibPtr<GError> error(raised);
        if (error)
            request.note(nameOf(question->path), *error, 1);
        else
            request.add(question->path, std::move(application));
        request.endCall();
    }
};

struct OpenRequest::Handover {
    std::shared_ptr<OpenRequest> request;
    std::string name; ///< of the first file
    std::size_t files;

    static void done(GObject* application, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Handover> handover(static_cast<Handover*>(data));
        OpenRequest& request = *handover->request;
        request.loop_.finished();
        GError* raised = nullptr;
        g_app_info_launch_uris_finish(G_APP_INFO(application), result, &raised);
        const GlibPtr<GError> error(raised);
        if (error)
            request.note(handover->name, *error, handover->files);
        request.endCall();
    }
};

void OpenRequest::start(GioLoop& loop,
                        const std::vector<std::string>& paths,
                        FileOpener::Failed failed) {
    if (paths.empty())
        return;
    const std::shared_ptr<OpenRequest> request(new OpenRequest(loop, std::move(failed)));
    request->unanswered_ = paths.size();
    for (const std::string& path : paths)
        request->ask(path);
}

OpenRequest::OpenRequest(GioLoop& loop, FileOpener::Failed failed)
    : loop_(loop), failed_(std::move(failed)) {}

void OpenRequest::ask(const std::string& path) {
    // The local files of the library itself: the desktop's modules are not loaded for this.
    const GlibPtr<GFile> file(g_vfs_get_file_for_path(g_vfs_get_local(), path.c_str()));
    loop_.start([&] {
        g_file_query_default_handler_async(file.get(), G_PRIORITY_DEFAULT, nullptr,
                                           &Question::answered,
                                           new Question{shared_from_this(), path});
    });
}

void OpenRequest::add(const std::string& path, GlibPtr<GAppInfo> application) {
    auto group = std::ranges::find_if(groups_, [&](const Group& known) {
        return g_app_info_equal(known.application.get(), application.get()) != FALSE;
    });
    if (group == groups_.end())
        group = groups_.insert(group, Group{std::move(application), {}});
    group->uris.push_back(fileUri(path));
}

void OpenRequest::handOver() {
    areHandedOver_ = true;
    unanswered_ = groups_.size();
    for (Group& group : groups_)
        handOver(group);
}

void OpenRequest::handOver(Group& group) {
    std::ranges::sort(group.uris); // they were added as their answers came
    GList* list = nullptr;
    for (auto uri = group.uris.rbegin(); uri != group.uris.rend(); ++uri)
        list = g_list_prepend(list, uri->data());
    const GlibPtr<GList> uris(list);
    loop_.start([&] {
        g_app_info_launch_uris_async(
            group.application.get(), uris.get(), nullptr, nullptr, &Handover::done,
            new Handover{shared_from_this(), nameOf(group.uris.front()), group.uris.size()});
    });
}

void OpenRequest::note(const std::string& name, const GError& error, std::size_t files) {
    if (message_.empty())
        message_ = messageFor(name, error);
    failures_ += files;
}

void OpenRequest::endCall() {
    if (--unanswered_ != 0)
        return;
    if (!areHandedOver_ && !groups_.empty()) {
        handOver();
        return;
    }
    if (failures_ == 0 || !failed_)
        return;
    if (failures_ == 1)
        failed_(message_);
    else
        failed_(trn("{message}\n{count} more item could not be opened.",
                    "{message}\n{count} more items could not be opened.", failures_ - 1,
                    {{"message", message_}}));
}

} // namespace quarrydex
