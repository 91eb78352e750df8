// vkdb's reading and checking of stores: a store the library wrote through the recorder
// is sound and every object in it is reached with its path; each kind of damage made to
// its bytes is named; a pair of files from two flushes is rejected by the library and
// said to be.
#include <gtest/gtest.h>

#include <stdio.h>

#include <functional>

#include "Folder.h"
#include "Handles.h"
#include "LoadedStore.h"
#include "Recorder.h"
#include "StoreCheck.h"
#include "StoreImage.h"

namespace vkp {
namespace {

std::vector<unsigned char> ReadBytes(const std::string& path) {
  std::vector<unsigned char> out;
  FILE* f = fopen(path.c_str(), "rb");
  for (int c; f && (c = fgetc(f)) != EOF;) out.push_back(static_cast<unsigned char>(c));
  if (f) fclose(f);
  return out;
}

void WriteBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
  FILE* f = fopen(path.c_str(), "wb");
  ASSERT_TRUE(f);
  fwrite(bytes.data(), 1, bytes.size(), f);
  fclose(f);
}

void Put32(std::vector<unsigned char>& b, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<unsigned char>(v >> (8 * i));
}

class Stores : public ::testing::Test {
 protected:
  void SetUp() override {
    m_Folder = MakeScratchFolder();
    ASSERT_FALSE(m_Folder.empty());
    WriteStore(1);
    m_Obj = ReadBytes(File("obj.dat"));
    m_Link = ReadBytes(File("link.dat"));
  }
  void TearDown() override { RemoveScratchFolder(m_Folder); }
  std::string File(const char* name) { return m_Folder + kSeparator + name; }

  // An application's folder, files, key and values, recorded and flushed; `round` 2
  // adds one file, so that its store differs from round 1's.
  void WriteStore(int round) {
    CVKUDatabase* db = AttachDatabase(const_cast<char*>(m_Folder.c_str()));
    ASSERT_TRUE(db);
    db->SetSaveFlag(0);
    {
      Recorder r(db);
      std::string error;
      ASSERT_TRUE(r.OpenApplication("App", &error));
      r.Record({"C:", "App"}, Kind::kFolder, kLinkOwns);
      r.Record({"C:", "App", "a.exe"}, Kind::kFile, kLinkOwns);
      if (round == 2) r.Record({"C:", "App", "b.txt"}, Kind::kFile, kLinkOwns);
      r.Record({"HKLM", "Software", "App", "C:\\App\\a.exe"}, Kind::kValue, kLinkOwns);
      r.RecordImports(r.Tree().Find({"C:", "App", "a.exe"}, Kind::kFile), {"KERNEL32.dll"});
    }
    ASSERT_TRUE(db->Flush());
    db->Release();
  }

  CheckResult Check(const std::vector<unsigned char>& obj, const std::vector<unsigned char>& link) {
    return CheckStore(ParseStoreImage(&obj, &link), nullptr);
  }

  std::string m_Folder;
  std::vector<unsigned char> m_Obj, m_Link;
};

bool Mentions(const CheckResult& r, const std::string& text) {
  for (const std::string& f : r.findings)
    if (f.find(text) != std::string::npos) return true;
  return false;
}

TEST_F(Stores, WhatTheLibraryWroteIsSoundAndReachedWithPaths) {
  StoreImage image = ReadStoreImage(m_Folder, kSeparator);
  LoadedStore loaded;
  std::string error;
  ASSERT_TRUE(loaded.Load(m_Folder, true, &error)) << error;
  EXPECT_EQ(static_cast<unsigned long>(VKU_LOAD_LOADED), loaded.Status() & VKU_LOAD_OUTCOME_MASK);
  CheckResult r = CheckStore(image, &loaded);
  EXPECT_TRUE(r.findings.empty()) << r.findings[0];
  EXPECT_TRUE(image.genValid);
  ASSERT_EQ(image.objects.size(), loaded.Objects().size());
  int withPaths = 0;
  for (const auto& o : loaded.Objects()) withPaths += !o.second.path.empty();
  EXPECT_EQ(static_cast<int>(image.objects.size()) - 1, withPaths);  // all but the name-only DLL
  EXPECT_EQ(m_Obj, ReadBytes(File("obj.dat")));  // the inspected folder is left as it was
}

TEST_F(Stores, EachDamageIsNamed) {
  StoreImage good = ParseStoreImage(&m_Obj, &m_Link);
  const RawObject* folder = nullptr;
  for (const RawObject& o : good.objects)
    if (o.name == "App" && o.type == kTypeMember) folder = &o;
  ASSERT_TRUE(folder);
  uint32_t parentLink = folder->to[0];
  size_t parentAt = 0;
  for (const RawLink& l : good.links)
    if (l.id == parentLink) parentAt = l.offset;
  const RawLink& last = good.links.back();

  struct Case {
    const char* what;
    std::function<void(std::vector<unsigned char>&, std::vector<unsigned char>&)> damage;
    std::string finding;
  };
  const Case cases[] = {
      {"a link record dropped", [](auto&, auto& l) { l.resize(l.size() - 21); },
       ", which points nowhere: link.dat does not hold it"},
      {"a link's source changed", [&](auto&, auto& l) { Put32(l, last.offset + 8, 9999); },
       "its source, object 9999, is not in obj.dat"},
      {"a link's source changed", [&](auto&, auto& l) { Put32(l, last.offset + 8, 9999); },
       "but the link comes from object 9999"},
      {"obj.dat cut", [](auto& o, auto&) { o.resize(o.size() - 3); }, "obj.dat ends inside the entry of object"},
      {"link.dat cut", [](auto&, auto& l) { l.resize(l.size() - 5); }, "link.dat ends inside a link record"},
      {"an unknown type", [&](auto& o, auto&) { Put32(o, folder->offset + 12, 64); },
       "has type 64, which the library does not know"},
      {"a parent link retyped", [&](auto&, auto& l) { Put32(l, parentAt + 16, 5); },
       "object " + std::to_string(folder->id) + " (App) is reached by no chain of parent links"},
      {"a link of type 0", [&](auto&, auto& l) { Put32(l, parentAt + 16, 0); }, "has type 0"},
      {"link.dat unfinished", [](auto&, auto& l) { Put32(l, 4, 0); }, "link.dat was never finished"},
      {"obj.dat foreign", [](auto& o, auto&) { Put32(o, 0, 7); }, "obj.dat has the tag 7, not 4100"},
  };
  for (const Case& c : cases) {
    std::vector<unsigned char> obj = m_Obj, link = m_Link;
    c.damage(obj, link);
    CheckResult r = Check(obj, link);
    EXPECT_TRUE(Mentions(r, c.finding)) << c.what << ": " << (r.findings.empty() ? "(none)" : r.findings[0]);
  }
  EXPECT_TRUE(Check(m_Obj, m_Link).findings.empty());
}

TEST_F(Stores, FilesOfTwoFlushesAreRejectedAndSaidToBe) {
  std::vector<unsigned char> oldObj = m_Obj;
  WriteStore(2);
  WriteBytes(File("obj.dat"), oldObj);
  StoreImage image = ReadStoreImage(m_Folder, kSeparator);
  LoadedStore loaded;
  std::string error;
  ASSERT_TRUE(loaded.Load(m_Folder, false, &error)) << error;
  CheckResult r = CheckStore(image, &loaded);
  EXPECT_TRUE(Mentions(r, "come from two different flushes")) << (r.findings.empty() ? "" : r.findings[0]);
  EXPECT_TRUE(Mentions(r, "the library rejected the store"));
}

}  // namespace
}  // namespace vkp
