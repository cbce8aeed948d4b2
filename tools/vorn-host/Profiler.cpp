#include "Profiler.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace vornhost {

namespace {

std::string Ms(int64_t ns, int decimals = 3)
{
    std::ostringstream out;
    out << std::fixed << std::setprecision(decimals) << static_cast<double>(ns) / 1e6;
    return out.str();
}

std::string Micros(int64_t ns)
{
    std::ostringstream out;
    out << std::fixed << std::setprecision(3) << static_cast<double>(ns) / 1e3;
    return out.str();
}

std::string JsonString(const std::string& text)
{
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string XmlText(const std::string& text)
{
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

bool WriteFile(const std::string& path, const std::string& content, std::string& error)
{
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (!file) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

// One row of the table.
struct Row {
    std::string plugin;
    VORNCallTimes times;
};

const char* const kColors[] = {"#d94f3d", "#3b7dd8", "#f2a93b", "#4caf72", "#8e5bc9",
                               "#2bb3c0", "#e377c2", "#8c6d31", "#7f7f7f", "#bcbd22"};

// A step of 1, 2 or 5 times a power of ten that cuts range into at most
// about six parts.
double TickStep(double range)
{
    const double rough = range / 6.0;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    for (double factor : {1.0, 2.0, 5.0, 10.0}) {
        if (factor * power >= rough)
            return factor * power;
    }
    return 10.0 * power;
}

}  // namespace

int64_t MonotonicNs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

bool Profiler::Start(HostLibrary& library, float budgetMs, bool keepCalls)
{
    if (library.SetTimeAccounting == nullptr || library.SetCallObserver == nullptr ||
        library.SetFrameBudget == nullptr || library.GetPluginCallTimes == nullptr)
        return false;
    mLib = &library;
    mBudgetMs = budgetMs;
    mKeepCalls = keepCalls;
    library.SetFrameBudget(budgetMs);
    library.SetCallObserver(Observe, this);
    library.SetTimeAccounting(1);
    return true;
}

void Profiler::Observe(const VORNCallTiming* call, void* refcon)
{
    auto* self = static_cast<Profiler*>(refcon);
    if (self->mInFrame && !self->mFrames.empty())
        self->mFrames.back().selfNsByPlugin[call->plugin] += call->selfNs;
    if (self->mKeepCalls) {
        self->mCalls.push_back({call->plugin, call->label, call->startNs, call->durationNs});
    }
}

std::string Profiler::NameOf(int plugin) const
{
    // Asked when the output is written: a plug-in has no name of its own
    // until its start has returned.
    char name[256] = "";
    if (plugin >= 0 && plugin < mLib->CountPlugins())
        mLib->GetPluginInfo(plugin, name, nullptr, nullptr, nullptr);
    return name[0] != '\0' ? name : "plug-in " + std::to_string(plugin);
}

void Profiler::BeginFrame(int frame)
{
    Frame record;
    record.number = frame;
    record.startNs = MonotonicNs();
    mFrames.push_back(record);
    mInFrame = true;
}

void Profiler::EndFrame()
{
    if (mInFrame)
        mFrames.back().durationNs = MonotonicNs() - mFrames.back().startNs;
    mInFrame = false;
}

void Profiler::PrintTable(std::ostream& out) const
{
    std::vector<Row> rows;
    for (int id = 0; id < mLib->CountPlugins(); ++id) {
        char name[256] = "";
        mLib->GetPluginInfo(id, name, nullptr, nullptr, nullptr);
        VORNCallTimes times{};
        times.structSize = sizeof times;
        for (int index = 0; mLib->GetPluginCallTimes(id, index, &times) == 1; ++index)
            rows.push_back({name, times});
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        return a.times.totalNs > b.times.totalNs;
    });
    int64_t frameNs = 0;
    for (const Frame& frame : mFrames)
        frameNs += frame.durationNs;
    out << "\ntime in plug-in code over " << mFrames.size() << " frames (" << Ms(frameNs, 1)
        << " ms), by total self time; budget " << mBudgetMs << " ms per call\n"
        << std::left << std::setw(24) << "plug-in" << " " << std::setw(26) << "kind" << std::right
        << std::setw(8) << "calls" << std::setw(11) << "mean ms" << std::setw(11) << "p95 ms"
        << std::setw(11) << "max ms" << std::setw(8) << "share" << "\n";
    for (const Row& row : rows) {
        const VORNCallTimes& t = row.times;
        std::ostringstream share;
        if (frameNs > 0)
            share << std::fixed << std::setprecision(1) << 100.0 * t.totalNs / frameNs << "%";
        else
            share << "-";
        out << std::left << std::setw(24) << row.plugin.substr(0, 24) << " " << std::setw(26)
            << std::string(t.label).substr(0, 26) << std::right << std::setw(8) << t.calls
            << std::setw(11) << Ms(t.calls > 0 ? t.totalNs / t.calls : 0) << std::setw(11)
            << Ms(t.p95Ns) << std::setw(11) << Ms(t.maxNs) << std::setw(8) << share.str()
            << (t.overBudget > 0 ? "  over budget " + std::to_string(t.overBudget) + "x" : "")
            << "\n";
    }
}

bool Profiler::WriteTrace(const std::string& path, std::string& error) const
{
    int64_t origin = 0;
    bool first = true;
    for (const Call& call : mCalls) {
        origin = first ? call.startNs : std::min(origin, call.startNs);
        first = false;
    }
    for (const Frame& frame : mFrames) {
        origin = first ? frame.startNs : std::min(origin, frame.startNs);
        first = false;
    }
    std::ostringstream json;
    json << "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n"
         << "{\"name\":\"process_name\",\"ph\":\"M\",\"pid\":1,\"tid\":1,"
            "\"args\":{\"name\":\"vorn-host\"}},\n"
         << "{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":1,"
            "\"args\":{\"name\":\"calls into plug-ins\"}},\n"
         << "{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":2,"
            "\"args\":{\"name\":\"frames\"}}";
    for (const Frame& frame : mFrames) {
        json << ",\n{\"name\":" << JsonString("frame " + std::to_string(frame.number))
             << ",\"ph\":\"X\",\"ts\":" << Micros(frame.startNs - origin)
             << ",\"dur\":" << Micros(frame.durationNs)
             << ",\"pid\":1,\"tid\":2,\"args\":{\"plugin\":\"\",\"kind\":\"frame\",\"frame\":"
             << frame.number << "}}";
    }
    std::map<int, std::string> names;
    for (const Call& call : mCalls) {
        if (names.count(call.plugin) == 0)
            names[call.plugin] = NameOf(call.plugin);
        const std::string& plugin = names[call.plugin];
        json << ",\n{\"name\":" << JsonString(plugin + ": " + call.label)
             << ",\"ph\":\"X\",\"ts\":" << Micros(call.startNs - origin)
             << ",\"dur\":" << Micros(call.durationNs) << ",\"pid\":1,\"tid\":1,\"args\":{"
             << "\"plugin\":" << JsonString(plugin) << ",\"kind\":" << JsonString(call.label)
             << "}}";
    }
    json << "\n]}\n";
    return WriteFile(path, json.str(), error);
}

bool Profiler::WriteChart(const std::string& path, std::string& error) const
{
    // Plug-ins by their time over all frames, the costliest at the bottom.
    std::map<int, int64_t> totals;
    int64_t largest = 0;
    for (const Frame& frame : mFrames) {
        int64_t sum = 0;
        for (const auto& [plugin, ns] : frame.selfNsByPlugin) {
            totals[plugin] += ns;
            sum += ns;
        }
        largest = std::max(largest, sum);
    }
    std::vector<int> plugins;
    for (const auto& [plugin, ns] : totals) {
        if (ns > 0)
            plugins.push_back(plugin);
    }
    std::stable_sort(plugins.begin(), plugins.end(),
                     [&](int a, int b) { return totals[a] > totals[b]; });
    std::map<int, std::string> names;
    for (int plugin : plugins)
        names[plugin] = NameOf(plugin);

    const double width = 960, height = 420, left = 64, right = 230, top = 48, bottom = 52;
    const double plotW = width - left - right, plotH = height - top - bottom;
    const double budgetMs = mBudgetMs > 0 ? mBudgetMs : 0;
    const double maxMs = std::max({static_cast<double>(largest) / 1e6, budgetMs, 0.1}) * 1.15;
    const size_t count = std::max<size_t>(mFrames.size(), 1);
    const double barW = plotW / static_cast<double>(count);
    auto y = [&](double ms) { return top + plotH - ms / maxMs * plotH; };
    auto num = [](double value) {
        std::ostringstream out;
        out << std::fixed << std::setprecision(2) << value;
        return out.str();
    };

    std::ostringstream svg;
    svg << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\""
        << height << "\" viewBox=\"0 0 " << width << " " << height
        << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
        << "<title>Time in plug-in code per frame</title>\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"" << left << "\" y=\"24\" font-size=\"15\" font-weight=\"bold\">"
        << "Time in plug-in code per frame, stacked by plug-in</text>\n";
    // Axes and ticks.
    svg << "<g id=\"axes\" stroke=\"#444\">\n<line x1=\"" << left << "\" y1=\"" << top
        << "\" x2=\"" << left << "\" y2=\"" << top + plotH << "\"/>\n<line x1=\"" << left
        << "\" y1=\"" << top + plotH << "\" x2=\"" << left + plotW << "\" y2=\"" << top + plotH
        << "\"/>\n</g>\n<g id=\"ticks\" fill=\"#444\">\n";
    const double step = TickStep(maxMs);
    for (double ms = 0; ms <= maxMs; ms += step) {
        svg << "<line x1=\"" << left - 4 << "\" y1=\"" << num(y(ms)) << "\" x2=\"" << left
            << "\" y2=\"" << num(y(ms)) << "\" stroke=\"#444\"/><text x=\"" << left - 8
            << "\" y=\"" << num(y(ms) + 4) << "\" text-anchor=\"end\">" << ms << "</text>\n";
    }
    const size_t frameStep = std::max<size_t>(1, static_cast<size_t>(TickStep(count)));
    for (size_t i = 0; i < mFrames.size(); i += frameStep) {
        svg << "<text x=\"" << num(left + (i + 0.5) * barW) << "\" y=\"" << top + plotH + 16
            << "\" text-anchor=\"middle\">" << mFrames[i].number << "</text>\n";
    }
    svg << "<text x=\"" << left + plotW / 2 << "\" y=\"" << height - 12
        << "\" text-anchor=\"middle\">frame</text>\n<text transform=\"translate(16 "
        << top + plotH / 2 << ") rotate(-90)\" text-anchor=\"middle\">ms of self time</text>\n"
        << "</g>\n";
    // The bars.
    svg << "<g id=\"bars\">\n";
    for (size_t i = 0; i < mFrames.size(); ++i) {
        double base = 0;
        for (size_t p = 0; p < plugins.size(); ++p) {
            auto found = mFrames[i].selfNsByPlugin.find(plugins[p]);
            if (found == mFrames[i].selfNsByPlugin.end() || found->second <= 0)
                continue;
            const double ms = static_cast<double>(found->second) / 1e6;
            svg << "<rect x=\"" << num(left + i * barW) << "\" y=\"" << num(y(base + ms))
                << "\" width=\"" << num(std::max(barW - 1, 0.5)) << "\" height=\""
                << num(ms / maxMs * plotH) << "\" fill=\"" << kColors[p % 10] << "\"><title>frame "
                << mFrames[i].number << ", " << XmlText(names[plugins[p]]) << ": " << num(ms) << " ms</title></rect>\n";
            base += ms;
        }
    }
    svg << "</g>\n";
    // The budget.
    if (budgetMs > 0) {
        svg << "<g id=\"budget\"><line class=\"budget\" x1=\"" << left << "\" y1=\""
            << num(y(budgetMs)) << "\" x2=\"" << left + plotW << "\" y2=\"" << num(y(budgetMs))
            << "\" stroke=\"#c00\" stroke-width=\"1.5\" stroke-dasharray=\"6 4\"/><text x=\""
            << left + plotW - 4 << "\" y=\"" << num(y(budgetMs) - 5)
            << "\" text-anchor=\"end\" fill=\"#c00\">budget " << budgetMs << " ms</text></g>\n";
    }
    // The slowest frames.
    std::vector<size_t> order(mFrames.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    auto frameTotal = [&](size_t i) {
        int64_t sum = 0;
        for (const auto& entry : mFrames[i].selfNsByPlugin)
            sum += entry.second;
        return sum;
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return frameTotal(a) > frameTotal(b); });
    svg << "<g id=\"slowest\" fill=\"#222\">\n";
    for (size_t rank = 0; rank < std::min<size_t>(3, order.size()); ++rank) {
        const size_t i = order[rank];
        const double ms = static_cast<double>(frameTotal(i)) / 1e6;
        if (ms <= 0)
            break;
        const double x = left + (i + 0.5) * barW, top_ = y(ms) - 4;
        svg << "<path class=\"slowest\" d=\"M " << num(x) << " " << num(top_) << " l -5 -8 h 10 z\"/>"
            << "<text x=\"" << num(x) << "\" y=\"" << num(top_ - 11)
            << "\" text-anchor=\"middle\">frame " << mFrames[i].number << ": " << num(ms)
            << " ms</text>\n";
    }
    svg << "</g>\n";
    // The legend.
    svg << "<g id=\"legend\">\n";
    for (size_t p = 0; p < plugins.size(); ++p) {
        const double ly = top + 8 + 20.0 * p;
        const std::string& name = names[plugins[p]];
        svg << "<rect x=\"" << left + plotW + 20 << "\" y=\"" << ly << "\" width=\"12\" "
            << "height=\"12\" fill=\"" << kColors[p % 10] << "\"/><text x=\""
            << left + plotW + 38 << "\" y=\"" << ly + 10 << "\">" << XmlText(name) << " ("
            << Ms(totals[plugins[p]], 1) << " ms)</text>\n";
    }
    svg << "</g>\n</svg>\n";
    return WriteFile(path, svg.str(), error);
}

}  // namespace vornhost
