// Benchmark of plotwright-view's work on a large document shaped like a busy scheduler recording's conversion:
// per CPU the running task (a state series named through the thread dictionary) and the priority of the task
// switched to (a number series), plus the thread dictionaries. It writes the document, then times reading it,
// writing the page and writing the trace, each as a ratio to the time the JSON parser alone takes to read the
// same text in the same run.
// Usage: viewbench [points, default 1200000] [folder, default build/viewbench]

#include "kestrel/JSONData.h"
#include "kestrel/JsomWriter.h"
#include "viewer/PageWriter.h"
#include "viewer/PlotDataReader.h"
#include "viewer/TraceWriter.h"

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

const int CPUS = 8;
const int THREADS = 2000;

void writeDocument(const std::string& path, long points) {
    std::ofstream file(path, std::ios::binary);
    kestrel::JsomWriter writer(&file);
    writer.startArray();
    long perSeries = points / (2 * CPUS);
    unsigned seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 8) & 0xffff;
    };
    for (int kind = 0; kind < 2; ++kind) {
        for (int cpu = 0; cpu < CPUS; ++cpu) {
            std::string label = "CPU " + std::to_string(cpu);
            writer.startObject();
            writer.appendLabel("label", true);
            writer.appendString(label, false);
            writer.appendLabel("columnDictionary", true);
            const char* columns = kind == 0 ? "{\"type\":\"map\",\"map\":{\"next_pid\":{\"column\":1,"
                                              "\"dataDictionary\":{\"scope\":\"plotwright\",\"dictionary\":"
                                              "\"common_pid\"}}}}"
                                            : "{\"type\":\"map\",\"map\":{\"next_prio\":{\"column\":1}}}";
            writer.appendJsonValue(columns, static_cast<int>(std::strlen(columns)));
            writer.appendLabel("group", true);
            writer.appendString("Scheduler per CPU", false);
            writer.appendLabel("time", true);
            writer.appendDouble(1990.646388, 6);
            writer.appendLabel("type", true);
            writer.appendString(kind == 0 ? "state" : "long", false);
            writer.appendLabel("data", true);
            writer.startArray();
            double time = 0;
            for (long i = 0; i < perSeries; ++i) {
                time += (1 + next() % 400) * 1e-6;
                writer.startArray();
                writer.appendDouble(time, 6);
                writer.appendLong(kind == 0 ? (next() % 4 == 0 ? 0 : 100 + next() % THREADS) : 100 + next() % 40);
                writer.endArray();
            }
            writer.endArray();
            writer.endObject();
        }
    }
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString("dictionaries", false);
    writer.appendLabel("dictionaries", true);
    writer.startObject();
    writer.appendLabel("common_tid", true);
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString("map", false);
    writer.appendLabel("map", true);
    writer.startObject();
    for (int tid = 100; tid < 100 + THREADS; ++tid) {
        std::string key = std::to_string(tid);
        writer.appendLabel(key.c_str(), true);
        writer.startObject();
        writer.appendLabel("label", true);
        writer.appendString("worker-" + key, false);
        writer.endObject();
    }
    writer.end();
    file << "\n"
         << "[{\"type\":\"dictionaries\",\"scope\":\"plotwright\",\"dictionaries\":{\"common_pid\":{\"type\":\"map\","
            "\"extends\":{\"dictionary\":\"common_tid\"},\"map\":{}}}}]\n";
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int argc, char* argv[]) {
    long points = argc > 1 ? std::atol(argv[1]) : 1200000;
    std::string folder = argc > 2 ? argv[2] : "build/viewbench";
    mkdir(folder.c_str(), 0777);
    std::string input = folder + "/large-plot.json";
    writeDocument(input, points);

    std::ifstream in(input, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    std::string bytes = text.str();

    // The reference: the parser alone on the first document (the page needs the tree, so it is kept until
    // the end, as the program keeps its documents).
    kestrel::JSONData* tree = new kestrel::JSONData;
    const char* p = bytes.c_str();
    auto start = std::chrono::steady_clock::now();
    tree->setFromJsonString(p);
    double parse = secondsSince(start);

    start = std::chrono::steady_clock::now();
    std::vector<viewer::PlotDocument> documents = viewer::PlotDataReader::readFile(input);
    double read = secondsSince(start);

    start = std::chrono::steady_clock::now();
    {
        std::ofstream page(folder + "/large-plot.html", std::ios::binary);
        viewer::PageWriter::write(page, documents, {input});
    }
    double html = secondsSince(start);

    start = std::chrono::steady_clock::now();
    {
        std::ofstream trace(folder + "/large-trace.json", std::ios::binary);
        viewer::TraceWriter::write(trace, documents);
    }
    double traced = secondsSince(start);

    tree->release();
    std::printf("document: %s, %zu bytes, %lld points\n", input.c_str(), bytes.size(), documents[0].points);
    std::printf("parse alone (reference): %.3f s\n", parse);
    std::printf("read and check:          %.3f s  (%.2f x parse)\n", read, read / parse);
    std::printf("write page:              %.3f s  (%.2f x parse)\n", html, html / parse);
    std::printf("write trace:             %.3f s  (%.2f x parse)\n", traced, traced / parse);
    return 0;
}
