#include <vnxml/common/uVnClasses.h>

#include <cstdio>

int main() {
  const char text[] = "<root/>";
  vn::TVnTextParser *p = vn::New<vn::TVnTextParser>(text, sizeof(text) - 1, vn::CP_UTF8);
  p->SkipWhile(vn::soNotEqual, u'/');
  bool ok = p->PeekString(2) == u"/>";
  p->Free();
  std::puts(ok ? "package ok" : "package broken");
  return ok ? 0 : 1;
}
