// The link database at scale, against what a user would pick instead. The graph is
// shaped like real installations: S top folders, each with 10 subfolders of 99 files,
// where the names repeat in every folder (sub0 ... sub9, file0.dll ... file98.dll, as
// every application ships its own readme.txt and bin\), plus 2*S applications in
// C:\APPS with about 1,000 dependency links each. S = 10, 100, 1000 gives about 10k,
// 100k and 1M objects (and 3M links at 1M).
//
// The same graph goes into SQLite (one table of objects with an index on (parent,
// name), one of links indexed on both ends, one transaction, prepared statements), and
// the full paths into a plain std::unordered_map as the practical limit for lookups.
// Each row prints both rates and their ratio (VKLinkDB / other; above 1 is faster).
//
// Building happens in this process; everything measured after the store is written
// runs in a fresh child process (the same program with --measure), so that the
// resident memory after reloading is the reloaded database's alone.
//
//   linkdb_scale_bench [--sizes 10,100,1000] [--dir DIR]
// SQLite is compared on the native build only (the Windows build has no SQLite).
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>
#include "BenchClock.h"
#include "VKLinkDB.h"
#ifdef _WIN32
#include <windows.h>
#include <psapi.h>
#else
#include <unistd.h>
#endif
#ifdef VKL_WITH_SQLITE
#include <sqlite3.h>
#endif

namespace {

const int kSubs = 10, kFiles = 99, kDepsPerApp = 1000;
const unsigned long kDrive = 1, kFolder = 4, kApp = 2, kUses = 0x10, kParent = 1;
const double kRowSeconds = 1.0;  // each timed row runs this long (or until its count is done)

using bench::Now;

using bench::ResidentMiB;

char* S(const std::string& s) { return const_cast<char*>(s.c_str()); }

#ifdef _WIN32
const char kSep = '\\';
#else
const char kSep = '/';
#endif

std::string Join(const std::string& dir, const char* name) { return dir + kSep + name; }

using bench::FileSize;

// The graph, described independently of any store: every name and link in creation
// order, so that both stores are built from the same list and answer the same queries.
struct Graph {
  int tops = 0;
  std::vector<std::string> filePaths;  // C:\TOPnnnn\subN\fileM.dll
  std::vector<std::vector<uint32_t>> appDeps;  // per application: indexes into filePaths

  explicit Graph(int s) : tops(s) {
    for (int t = 0; t < tops; ++t)
      for (int d = 0; d < kSubs; ++d)
        for (int f = 0; f < kFiles; ++f) filePaths.push_back(FilePath(t, d, f));
    std::mt19937 rng(7);
    appDeps.resize(2 * tops);
    for (auto& deps : appDeps) {
      std::unordered_set<uint32_t> seen;
      while (deps.size() < kDepsPerApp && deps.size() < filePaths.size()) {
        uint32_t i = rng() % filePaths.size();
        if (seen.insert(i).second) deps.push_back(i);
      }
    }
  }
  static std::string TopName(int t) {
    char b[32];
    snprintf(b, sizeof(b), "TOP%04d", t);
    return b;
  }
  static std::string FilePath(int t, int d, int f) {
    char b[96];
    snprintf(b, sizeof(b), "C:\\TOP%04d\\sub%d\\file%d.dll", t, d, f);
    return b;
  }
  static std::string AppName(size_t a) {
    char b[32];
    snprintf(b, sizeof(b), "APP%05u.EXE", unsigned(a));
    return b;
  }
  size_t Objects() const { return 2 + tops * (1 + kSubs) + filePaths.size() + appDeps.size(); }
};

// Runs op(i) for i = *next, *next + 1, ... until n operations or `seconds` have passed;
// returns operations per second and leaves *next after the last one.
double Rate(size_t n, const std::function<void(size_t)>& op, double seconds = kRowSeconds, size_t* next = nullptr) {
  size_t first = next ? *next : 0, i = first;
  double t0 = Now(), t = t0;
  while (i < n) {
    op(i++);
    if (((i - first) & 15) == 0 && (t = Now()) - t0 > seconds) break;
  }
  t = Now();
  if (next) *next = i;
  return (i - first) / (t - t0);
}

// The rates of two ways of doing the same n operations, measured in turns: five rounds
// of a fifth of kRowSeconds each, the best round of each side counted. The machine is
// shared; taking turns keeps a busy moment from landing on one side only. Each side
// goes on through its inputs from round to round, so no round reuses warm ones; inputs
// that cannot be used twice (objects to delete) end a side's rounds when they run out.
void Compare(size_t n, const std::function<void(size_t)>& vkl, const std::function<void(size_t)>& other,
             double* vklRate, double* otherRate, bool reuse = true) {
  size_t nextVkl = 0, nextOther = 0;
  *vklRate = *otherRate = 0;
  for (int round = 0; round < 5; ++round) {
    if (nextVkl < n) *vklRate = std::max(*vklRate, Rate(n, vkl, kRowSeconds / 5, &nextVkl));
    if (other && nextOther < n) *otherRate = std::max(*otherRate, Rate(n, other, kRowSeconds / 5, &nextOther));
    if (reuse && nextVkl >= n) nextVkl = 0;
    if (reuse && nextOther >= n) nextOther = 0;
  }
}

// ---------------------------------------------------------------------------------
// VKLinkDB

double BuildVkl(const Graph& g, const std::string& dir) {
  remove(Join(dir, "obj.dat").c_str());
  remove(Join(dir, "link.dat").c_str());
  CVKUDatabase* db = AttachDatabase(S(dir));
  if (!db) return 0;
  double t0 = Now();
  CVKUObject* drive = db->AddObject(S("C:"), kDrive, 0, 0, nullptr, 1);
  std::vector<CVKUObject*> files;
  files.reserve(g.filePaths.size());
  for (int t = 0; t < g.tops; ++t) {
    CVKUObject* top = db->AddObject(S(Graph::TopName(t)), kFolder, 0, 0, nullptr, 1);
    drive->LinkTo(top, kParent, 0, 0, nullptr);
    for (int d = 0; d < kSubs; ++d) {
      std::string sub = "sub" + std::to_string(d);
      CVKUObject* s = db->AddObject(S(sub), kFolder, 0, 0, nullptr, 1);
      top->LinkTo(s, kParent, 0, 0, nullptr);
      for (int f = 0; f < kFiles; ++f) {
        std::string name = "file" + std::to_string(f) + ".dll";
        CVKUObject* o = db->AddObject(S(name), kFolder, 0, 0, nullptr, 1);
        s->LinkTo(o, kParent, 0, 0, nullptr);
        files.push_back(o);
      }
      s->Release();
    }
    top->Release();
  }
  CVKUObject* apps = db->AddObject(S("APPS"), kFolder, 0, 0, nullptr, 1);
  drive->LinkTo(apps, kParent, 0, 0, nullptr);
  for (size_t a = 0; a < g.appDeps.size(); ++a) {
    CVKUObject* app = db->AddObject(S(Graph::AppName(a)), kApp, 0, 0, nullptr, 1);
    apps->LinkTo(app, kParent, 0, 0, nullptr);
    for (uint32_t f : g.appDeps[a]) app->LinkTo(files[f], kUses, 0, 0, nullptr);
    app->Release();
  }
  double seconds = Now() - t0;
  for (CVKUObject* o : files) o->Release();
  apps->Release();
  drive->Release();
  db->Flush();
  db->SetSaveFlag(0);
  db->Release();
  return seconds;
}

std::vector<uint32_t> Ids(CVKUObject* o, bool backwards) {
  std::vector<uint32_t> ids;
  CVKUObject* r = nullptr;
  unsigned long q = backwards ? o->FindFirstReferencingApp(&r, nullptr) : o->FindFirstDependentObject(&r, nullptr);
  if (!q) return ids;
  do {
    ids.push_back(r->GetUniqueID());
    r->Release();
  } while (o->FindNextDependentObject(q, &r, nullptr));
  o->FindCloseDependentObject(q);
  return ids;
}

// ---------------------------------------------------------------------------------
// SQLite: what a user would write instead.

#ifdef VKL_WITH_SQLITE
struct Sql {
  sqlite3* db = nullptr;
  sqlite3_stmt* byName = nullptr;  // child of a parent by name
  sqlite3_stmt* parentOf = nullptr;
  sqlite3_stmt* outgoing = nullptr;
  sqlite3_stmt* incoming = nullptr;
  sqlite3_stmt* typeOf = nullptr;

  explicit Sql(const std::string& file) {
    if (sqlite3_open(file.c_str(), &db) != SQLITE_OK) exit(3);
  }
  ~Sql() {
    for (sqlite3_stmt* s : {byName, parentOf, outgoing, incoming, typeOf}) sqlite3_finalize(s);
    sqlite3_close(db);
  }
  void Exec(const char* sql) {
    char* err = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &err) != SQLITE_OK) {
      fprintf(stderr, "sqlite: %s\n", err);
      exit(3);
    }
  }
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &s, nullptr) != SQLITE_OK) exit(3);
    return s;
  }
  void PrepareQueries() {
    byName = Prepare("SELECT id FROM objects WHERE parent = ?1 AND name = ?2");
    parentOf = Prepare("SELECT parent, name FROM objects WHERE id = ?1");
    outgoing = Prepare("SELECT target FROM links WHERE source = ?1 AND type <> 0 ORDER BY id");
    incoming = Prepare("SELECT source, type FROM links WHERE target = ?1 AND type <> 0 ORDER BY id");
    typeOf = Prepare("SELECT type FROM objects WHERE id = ?1");
  }
  int64_t Lookup(const std::string& path) {
    int64_t at = 0;  // the drive's parent
    size_t start = 0;
    while (start <= path.size()) {
      size_t end = path.find('\\', start);
      if (end == std::string::npos) end = path.size();
      sqlite3_reset(byName);
      sqlite3_bind_int64(byName, 1, at);
      sqlite3_bind_text(byName, 2, path.c_str() + start, int(end - start), SQLITE_STATIC);
      if (sqlite3_step(byName) != SQLITE_ROW) return 0;
      at = sqlite3_column_int64(byName, 0);
      start = end + 1;
    }
    return at;
  }
  std::string FullPath(int64_t id) {
    std::vector<std::string> parts;
    while (id) {
      sqlite3_reset(parentOf);
      sqlite3_bind_int64(parentOf, 1, id);
      if (sqlite3_step(parentOf) != SQLITE_ROW) break;
      parts.push_back(reinterpret_cast<const char*>(sqlite3_column_text(parentOf, 1)));
      id = sqlite3_column_int64(parentOf, 0);
    }
    std::string path;
    for (size_t i = parts.size(); i-- > 0;) path += parts[i] + (i ? "\\" : "");
    return path;
  }
  std::vector<int64_t> Column(sqlite3_stmt* s, int64_t id, std::vector<int64_t>* second = nullptr) {
    std::vector<int64_t> out;
    sqlite3_reset(s);
    sqlite3_bind_int64(s, 1, id);
    while (sqlite3_step(s) == SQLITE_ROW) {
      out.push_back(sqlite3_column_int64(s, 0));
      if (second) second->push_back(sqlite3_column_int64(s, 1));
    }
    return out;
  }
  int64_t Type(int64_t id) {
    std::vector<int64_t> t = Column(typeOf, id);
    return t.empty() ? -1 : t[0];
  }
  // The same depth-first walks the link database answers (no name-only files here).
  void Forward(int64_t id, std::unordered_set<int64_t>& seen, std::vector<int64_t>& out) {
    for (int64_t t : Column(outgoing, id))
      if (seen.insert(t).second) {
        out.push_back(t);
        Forward(t, seen, out);
      }
  }
  std::vector<int64_t> Dependencies(int64_t id) {
    std::unordered_set<int64_t> seen;
    std::vector<int64_t> out;
    Forward(id, seen, out);
    return out;
  }
  std::vector<int64_t> Referring(int64_t id) {
    std::unordered_set<int64_t> seen;
    std::vector<int64_t> out, types;
    int64_t type = Type(id);
    std::vector<int64_t> sources = Column(incoming, id, &types);
    for (size_t i = 0; i < sources.size(); ++i) {
      if (types[i] == int64_t(kParent) && (type == 4 || type == 2)) continue;
      if (!seen.insert(sources[i]).second) continue;
      type = Type(sources[i]);
      out.push_back(sources[i]);
      Forward(sources[i], seen, out);
    }
    return out;
  }
};

double BuildSql(const Graph& g, const std::string& file) {
  remove(file.c_str());
  Sql sql(file);
  double t0 = Now();
  sql.Exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;");
  sql.Exec(
      "CREATE TABLE objects (id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, name TEXT COLLATE NOCASE, "
      "type INTEGER NOT NULL);"
      "CREATE INDEX objects_by_name ON objects (parent, name);"
      "CREATE TABLE links (id INTEGER PRIMARY KEY, source INTEGER NOT NULL, target INTEGER NOT NULL, "
      "type INTEGER NOT NULL);"
      "CREATE INDEX links_by_source ON links (source);"
      "CREATE INDEX links_by_target ON links (target);");
  sql.Exec("BEGIN");
  sqlite3_stmt* addObject = sql.Prepare("INSERT INTO objects (parent, name, type) VALUES (?1, ?2, ?3)");
  sqlite3_stmt* addLink = sql.Prepare("INSERT INTO links (source, target, type) VALUES (?1, ?2, ?3)");
  auto object = [&](int64_t parent, const std::string& name, int64_t type) {
    sqlite3_reset(addObject);
    sqlite3_bind_int64(addObject, 1, parent);
    sqlite3_bind_text(addObject, 2, name.c_str(), int(name.size()), SQLITE_TRANSIENT);
    sqlite3_bind_int64(addObject, 3, type);
    sqlite3_step(addObject);
    int64_t id = sqlite3_last_insert_rowid(sql.db);
    if (parent) {
      sqlite3_reset(addLink);
      sqlite3_bind_int64(addLink, 1, parent);
      sqlite3_bind_int64(addLink, 2, id);
      sqlite3_bind_int64(addLink, 3, kParent);
      sqlite3_step(addLink);
    }
    return id;
  };
  int64_t drive = object(0, "C:", kDrive);
  std::vector<int64_t> files;
  files.reserve(g.filePaths.size());
  for (int t = 0; t < g.tops; ++t) {
    int64_t top = object(drive, Graph::TopName(t), kFolder);
    for (int d = 0; d < kSubs; ++d) {
      int64_t s = object(top, "sub" + std::to_string(d), kFolder);
      for (int f = 0; f < kFiles; ++f) files.push_back(object(s, "file" + std::to_string(f) + ".dll", kFolder));
    }
  }
  int64_t apps = object(drive, "APPS", kFolder);
  for (size_t a = 0; a < g.appDeps.size(); ++a) {
    int64_t app = object(apps, Graph::AppName(a), kApp);
    for (uint32_t f : g.appDeps[a]) {
      sqlite3_reset(addLink);
      sqlite3_bind_int64(addLink, 1, app);
      sqlite3_bind_int64(addLink, 2, files[f]);
      sqlite3_bind_int64(addLink, 3, kUses);
      sqlite3_step(addLink);
    }
  }
  sqlite3_finalize(addObject);
  sqlite3_finalize(addLink);
  sql.Exec("COMMIT");
  return Now() - t0;
}
#endif

// ---------------------------------------------------------------------------------
// Measuring, in the child process.

// Each row goes to the screen and, for the summary of all sizes, to a file.
FILE* g_results = nullptr;
int g_tops = 0;

void Row(const std::string& name, double vkl, double other, const char* unit, bool higherIsBetter = true) {
  if (other > 0)
    printf("  %-44s %14.1f %14.1f %-6s %7.2fx\n", name.c_str(), vkl, other, unit,
           higherIsBetter ? vkl / other : other / vkl);
  else
    printf("  %-44s %14.1f %14s %-6s\n", name.c_str(), vkl, "-", unit);
  if (g_results) fprintf(g_results, "%d\t%s\t%.6g\t%.6g\t%d\n", g_tops, name.c_str(), vkl, other, higherIsBetter ? 1 : 0);
}

#ifdef VKL_WITH_SQLITE
// The full paths of what a query returns, sorted: the two stores number their objects
// differently, so their answers are compared by path.
std::vector<std::string> VklAnswer(CVKUObject* o, bool backwards) {
  std::vector<std::string> paths;
  CVKUObject* r = nullptr;
  unsigned long q = backwards ? o->FindFirstReferencingApp(&r, nullptr) : o->FindFirstDependentObject(&r, nullptr);
  if (!q) return paths;
  do {
    char buffer[260];
    paths.push_back(r->GetFullPath(buffer) ? buffer : "?");
    r->Release();
  } while (o->FindNextDependentObject(q, &r, nullptr));
  o->FindCloseDependentObject(q);
  std::sort(paths.begin(), paths.end());
  return paths;
}
#endif

// Reads both store files into one buffer, and returns the seconds it took. Either in one
// read per file into a buffer of the file's size (the least any loader must do), or in
// chunks of 1 MB appended to a growing vector (what the first version of this
// benchmark measured).
double ReadStore(const std::string& dir, bool growing) {
  double t0 = Now();
  size_t size = 0;
  for (const char* f : {"obj.dat", "link.dat"}) size += FileSize(Join(dir, f));
  std::unique_ptr<char[]> buffer(growing ? nullptr : new char[size]);
  std::vector<char> grown;
  size_t at = 0;
  for (const char* f : {"obj.dat", "link.dat"}) {
    FILE* in = fopen(Join(dir, f).c_str(), "rb");
    if (!in) continue;
    if (growing) {
      std::vector<char> chunk(1 << 20);
      size_t n;
      while ((n = fread(chunk.data(), 1, chunk.size(), in)) > 0) grown.insert(grown.end(), chunk.begin(), chunk.begin() + n);
    } else {
      at += fread(buffer.get() + at, 1, size - at, in);
    }
    fclose(in);
  }
  return Now() - t0;
}

int Measure(int tops, const std::string& dir, double vklBuild, double sqlBuild) {
  g_tops = tops;
  g_results = fopen(Join(dir, "results.tsv").c_str(), "a");
  Graph g(tops);
  size_t objects = g.Objects();
  size_t links = objects - 2 + g.appDeps.size() * kDepsPerApp;  // parent links + dependencies
  long storeBytes = FileSize(Join(dir, "obj.dat")) + FileSize(Join(dir, "link.dat"));
  printf("== S = %d: %zu objects, %zu links, store %.1f MiB\n", tops, objects, links, storeBytes / 1048576.0);
  printf("  %-44s %14s %14s %-6s %8s\n", "row", "VKLinkDB", "other", "unit", "ratio");
  int failures = 0;

  // The reload first, in a process that has done nothing else yet.
  double rss0 = ResidentMiB();
  double t0 = Now();
  CVKUDatabase* db = AttachDatabase(S(dir));
  double reload = Now() - t0;
  if (!db) return 1;
  double rss = ResidentMiB() - rss0;
  // Reading the store's bytes: the floor for loading it.
  double readBytes = ReadStore(dir, false), readGrowing = ReadStore(dir, true);

  double sqlReload = 0;
  size_t total = objects + links;
#ifdef VKL_WITH_SQLITE
  Sql sql(Join(dir, "graph.sqlite"));
  {
    t0 = Now();
    Sql cold(Join(dir, "graph.sqlite"));
    sqlite3_stmt* all = cold.Prepare("SELECT id, parent, name, type FROM objects");
    int64_t sum = 0;
    while (sqlite3_step(all) == SQLITE_ROW) sum += sqlite3_column_int64(all, 0) + sqlite3_column_bytes(all, 2);
    sqlite3_finalize(all);
    all = cold.Prepare("SELECT id, source, target, type FROM links");
    while (sqlite3_step(all) == SQLITE_ROW) sum += sqlite3_column_int64(all, 1);
    sqlite3_finalize(all);
    sqlReload = Now() - t0;
    if (sum == 0) ++failures;
  }
  sql.PrepareQueries();
#endif

  Row("build (objects + links)", total / vklBuild, sqlBuild > 0 ? total / sqlBuild : 0, "/s");
  Row("reload", reload * 1e3, sqlReload * 1e3, "ms", false);
  Row("reload vs reading the store's bytes", reload * 1e3, readBytes * 1e3, "ms", false);
  Row("reload vs reading into a growing vector", reload * 1e3, readGrowing * 1e3, "ms", false);
  // The reload's cost per record, for the summary of all sizes.
  if (g_results)
    fprintf(g_results, "%d\treload per object or link\t%.6g\t%.6g\t0\n", tops, reload / total * 1e9,
            sqlReload / total * 1e9);

  std::mt19937 rng(11);
  std::vector<std::string> paths;
  for (int i = 0; i < 200000; ++i) paths.push_back(g.filePaths[rng() % g.filePaths.size()]);
  long missing = 0;
  auto lookup = [&](size_t i) {
    CVKUObject* o = db->GetObjectByPath(S(paths[i]));
    if (o) o->Release(); else ++missing;
  };
  double lookups = 0, sqlLookups = 0, mapLookups = 0;
#ifdef VKL_WITH_SQLITE
  Compare(paths.size(), lookup, [&](size_t i) { missing += sql.Lookup(paths[i]) == 0; }, &lookups, &sqlLookups);
#else
  Compare(paths.size(), lookup, nullptr, &lookups, &sqlLookups);
#endif
  Row("GetObjectByPath", lookups, sqlLookups, "/s");
  {
    std::unordered_map<std::string, uint32_t> byPath;
    uint32_t id = 0;
    for (const std::string& p : g.filePaths) {
      std::string upper = p;
      for (char& c : upper) c = char(toupper(static_cast<unsigned char>(c)));
      byPath.emplace(std::move(upper), ++id);
    }
    Compare(paths.size(), lookup, [&](size_t i) {
      std::string upper = paths[i];
      for (char& c : upper) c = char(toupper(static_cast<unsigned char>(c)));
      missing += byPath.find(upper) == byPath.end();
    }, &lookups, &mapLookups);
  }
  Row("GetObjectByPath vs unordered_map", lookups, mapLookups, "/s");
  if (missing) {
    printf("  !! %ld lookups found nothing\n", missing);
    ++failures;
  }

  // Objects for the queries below, found once: 10,000 files at random (so that paths and
  // queries do not run on a handful of objects in the cache) and 50 applications.
  const size_t kQueried = std::min<size_t>(10000, paths.size());
  std::vector<CVKUObject*> files, apps;
  for (size_t i = 0; i < kQueried; ++i) files.push_back(db->GetObjectByPath(S(paths[i])));
  for (size_t a = 0; a < g.appDeps.size() && apps.size() < 50; a += std::max<size_t>(1, g.appDeps.size() / 50))
    apps.push_back(db->GetObjectByPath(S("C:\\APPS\\" + Graph::AppName(a))));

  char buffer[1000];
  auto fullPath = [&](size_t i) { files[i % files.size()]->GetFullPath(buffer); };
  double fullPaths = 0, sqlFullPaths = 0;
  // The two queries, each timed on its own; the label gives its number of results.
  size_t depResults = 0, refResults = 0, depQueries = 0, refQueries = 0;
  auto dependencies = [&](size_t i) { depResults += Ids(apps[i % apps.size()], false).size(), ++depQueries; };
  auto referring = [&](size_t i) { refResults += Ids(files[i % files.size()], true).size(), ++refQueries; };
  double deps = 0, refs = 0, sqlDeps = 0, sqlRefs = 0;
#ifdef VKL_WITH_SQLITE
  std::vector<int64_t> sqlFiles, sqlApps;
  for (size_t i = 0; i < kQueried; ++i) sqlFiles.push_back(sql.Lookup(paths[i]));
  for (size_t a = 0; a < g.appDeps.size() && sqlApps.size() < 50; a += std::max<size_t>(1, g.appDeps.size() / 50))
    sqlApps.push_back(sql.Lookup("C:\\APPS\\" + Graph::AppName(a)));
  Compare(1000000, fullPath, [&](size_t i) { sql.FullPath(sqlFiles[i % sqlFiles.size()]); }, &fullPaths, &sqlFullPaths);
  for (int i = 0; i < 5; ++i)
    if (sql.FullPath(sqlFiles[i]) != paths[i]) ++failures;
  Compare(1000000, dependencies, [&](size_t i) { sql.Dependencies(sqlApps[i % sqlApps.size()]); }, &deps, &sqlDeps);
  Compare(1000000, referring, [&](size_t i) { sql.Referring(sqlFiles[i % sqlFiles.size()]); }, &refs, &sqlRefs);
  // Both answer the same questions alike: the same objects, by their full paths.
  auto sqlAnswer = [&](const std::vector<int64_t>& ids) {
    std::vector<std::string> out;
    for (int64_t id : ids) out.push_back(sql.FullPath(id));
    std::sort(out.begin(), out.end());
    return out;
  };
  for (size_t i = 0; i < 5; ++i) {
    if (VklAnswer(apps[i % apps.size()], false) != sqlAnswer(sql.Dependencies(sqlApps[i % sqlApps.size()]))) {
      printf("  !! the dependencies of application %zu differ\n", i);
      ++failures;
    }
    if (VklAnswer(files[i], true) != sqlAnswer(sql.Referring(sqlFiles[i]))) {
      printf("  !! the applications referring to %s differ\n", paths[i].c_str());
      ++failures;
    }
  }
#else
  Compare(1000000, fullPath, nullptr, &fullPaths, &sqlFullPaths);
  Compare(1000000, dependencies, nullptr, &deps, &sqlDeps);
  Compare(1000000, referring, nullptr, &refs, &sqlRefs);
#endif
  Row("full path of an object", fullPaths, sqlFullPaths, "/s");
  char label[80];
  snprintf(label, sizeof(label), "dependency query (%.0f results)", depResults / double(std::max<size_t>(1, depQueries)));
  Row(label, deps, sqlDeps, "/s");
  snprintf(label, sizeof(label), "referring-application query (%.0f results)",
           refResults / double(std::max<size_t>(1, refQueries)));
  Row(label, refs, sqlRefs, "/s");

  for (CVKUObject* o : files) o->Release();
  for (CVKUObject* o : apps) o->Release();

  // Deleting files, each with its parent link and its dependency links.
  std::vector<std::string> victims;
  for (size_t i = 0; i < g.filePaths.size() && victims.size() < 20000; i += 7) victims.push_back(g.filePaths[i]);
  std::vector<CVKUObject*> doomed;
  for (const std::string& p : victims) doomed.push_back(db->GetObjectByPath(S(p)));
  auto remove = [&](size_t i) {
    if (doomed[i]) doomed[i]->Delete();
  };
  double deletes = 0, sqlDeletes = 0;
#ifdef VKL_WITH_SQLITE
  {
    sqlite3_stmt* delObject = sql.Prepare("DELETE FROM objects WHERE id = ?1");
    sqlite3_stmt* delFrom = sql.Prepare("DELETE FROM links WHERE source = ?1");
    sqlite3_stmt* delTo = sql.Prepare("DELETE FROM links WHERE target = ?1");
    std::vector<int64_t> ids;
    for (const std::string& p : victims) ids.push_back(sql.Lookup(p));
    sql.Exec("BEGIN");
    Compare(doomed.size(), remove, [&](size_t i) {
      for (sqlite3_stmt* s : {delObject, delFrom, delTo}) {
        sqlite3_reset(s);
        sqlite3_bind_int64(s, 1, ids[i]);
        sqlite3_step(s);
      }
    }, &deletes, &sqlDeletes, false);
    sql.Exec("ROLLBACK");
    for (sqlite3_stmt* s : {delObject, delFrom, delTo}) sqlite3_finalize(s);
  }
#else
  Compare(doomed.size(), remove, nullptr, &deletes, &sqlDeletes, false);
#endif
  for (CVKUObject* o : doomed)
    if (o) o->Release();
  Row("delete a file object", deletes, sqlDeletes, "/s");
  printf("  %-44s %14.1f MiB for a store of %.1f MiB (%.2fx)\n", "resident after reload", rss,
         storeBytes / 1048576.0, rss / (storeBytes / 1048576.0));
  if (g_results) fprintf(g_results, "%d\tresident after reload / store\t%.6g\t0\t0\n", tops, rss / (storeBytes / 1048576.0));

  db->SetSaveFlag(0);
  db->Release();
  if (g_results) fclose(g_results);
  return failures ? 1 : 0;
}

// How each row's cost per operation grew from the smallest graph to the largest.
void Summary(const std::string& dir, const std::vector<int>& sizes) {
  if (sizes.size() < 2) return;
  FILE* f = fopen(Join(dir, "results.tsv").c_str(), "r");
  if (!f) return;
  struct Value {
    double vkl, other;
    bool higher;
  };
  std::map<std::string, std::map<int, Value>> rows;
  std::vector<std::string> order;
  char line[512];
  while (fgets(line, sizeof(line), f)) {
    int tops, higher;
    char name[256];
    double vkl, other;
    if (sscanf(line, "%d\t%255[^\t]\t%lf\t%lf\t%d", &tops, name, &vkl, &other, &higher) != 5) continue;
    std::string key = name;
    // The query labels carry their result counts; the row is the same at every size.
    size_t paren = key.find(" (");
    if (paren != std::string::npos && isdigit(static_cast<unsigned char>(key[paren + 2]))) key.erase(paren);
    if (!rows.count(key)) order.push_back(key);
    rows[key][tops] = Value{vkl, other, higher != 0};
  }
  fclose(f);
  int small = sizes.front(), large = sizes.back();
  printf("== cost per operation at S = %d over S = %d (1.00x: no growth)\n", large, small);
  printf("  %-44s %14s %14s\n", "row", "VKLinkDB", "other");
  for (const std::string& key : order) {
    auto& r = rows[key];
    // Rows against a floor rather than against SQLite are shown once, with the floor's
    // own growth (the unordered_map's); the reload per record stands for the reload.
    if (!r.count(small) || !r.count(large) || key == "reload" || key.find("reload vs") == 0) continue;
    const Value& a = r[small];
    const Value& b = r[large];
    auto growth = [&](double x, double y) { return a.higher ? x / y : y / x; };
    if (key.find("resident") == 0) {
      printf("  %-44s %13.2fx %14s\n", key.c_str(), b.vkl / a.vkl, "-");
      continue;
    }
    if (a.other > 0)
      printf("  %-44s %13.2fx %13.2fx\n", key.c_str(), growth(a.vkl, b.vkl), growth(a.other, b.other));
    else
      printf("  %-44s %13.2fx %14s\n", key.c_str(), growth(a.vkl, b.vkl), "-");
  }
}

// Memory under churn: one object's data alternating between 100 and 16,384 bytes.
void Churn(const std::string& dir) {
  remove(Join(dir, "obj.dat").c_str());
  remove(Join(dir, "link.dat").c_str());
  CVKUDatabase* db = AttachDatabase(S(dir));
  if (!db) return;
  std::vector<unsigned char> data(16384, 0x5A);
  CVKUObject* o = db->AddObject(S("CHURN"), kFolder, 0, 0, nullptr, 0);
  double before = ResidentMiB();
  for (int i = 0; i < 200000; ++i) o->SetData(i % 2 ? 16384 : 100, data.data());
  double after = ResidentMiB();
  printf("== SetData churn: 200,000 calls alternating 100 and 16,384 bytes: resident %.1f -> %.1f MiB (%.2fx)\n",
         before, after, after / before);
  o->Release();
  db->SetSaveFlag(0);
  db->Release();
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> sizes = {10, 100, 1000};
  std::string dir = "scale-bench-data";
  bool measure = false;
  double vklBuild = 0, sqlBuild = 0;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--sizes" && i + 1 < argc) {
      sizes.clear();
      for (char* p = strtok(argv[++i], ","); p; p = strtok(nullptr, ",")) sizes.push_back(atoi(p));
    } else if (a == "--dir" && i + 1 < argc) {
      dir = argv[++i];
    } else if (a == "--measure" && i + 3 < argc) {  // child: size, build times
      measure = true;
      sizes = {atoi(argv[++i])};
      vklBuild = atof(argv[++i]);
      sqlBuild = atof(argv[++i]);
    } else {
      fprintf(stderr, "usage: linkdb_scale_bench [--sizes 10,100,1000] [--dir DIR]\n");
      return 2;
    }
  }
#ifdef _WIN32
  CreateDirectoryA(dir.c_str(), nullptr);
#else
  if (system(("mkdir -p '" + dir + "'").c_str()) != 0) return 1;
#endif
  if (measure) return Measure(sizes[0], dir, vklBuild, sqlBuild);

  // First, while the process is small.
  Churn(dir);
  remove(Join(dir, "results.tsv").c_str());
  int status = 0;
  for (int tops : sizes) {
    Graph g(tops);
    double vkl = BuildVkl(g, dir);
    double sql = 0;
#ifdef VKL_WITH_SQLITE
    sql = BuildSql(g, Join(dir, "graph.sqlite"));
#endif
    char cmd[1024];
    snprintf(cmd, sizeof(cmd), "\"%s\" --dir \"%s\" --measure %d %.6f %.6f", argv[0], dir.c_str(), tops, vkl, sql);
#ifdef _WIN32
    // cmd.exe drops the first and the last quote of a line that starts with one.
    std::string line = std::string("\"") + cmd + "\"";
    snprintf(cmd, sizeof(cmd), "%s", line.c_str());
#endif
    fflush(stdout);
    if (system(cmd) != 0) status = 1;
  }
  Summary(dir, sizes);
  return status;
}
