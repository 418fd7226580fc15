/* A plug-in for the tests: records its three arguments in the file named by
   the first with ".plugin" appended, and answers 4242. */
#include <stdio.h>
#include <string.h>

int PLUGIN_EXPORT(const char* menuPath, const char* folder, const char* patterns) {
  char path[1024];
  if (strlen(menuPath) + 8 >= sizeof path)
    return -1;
  snprintf(path, sizeof path, "%s.plugin", menuPath);
  FILE* f = fopen(path, "w");
  if (!f)
    return -2;
  fprintf(f, "%s|%s|%s", menuPath, folder, patterns);
  fclose(f);
  return 4242;
}
