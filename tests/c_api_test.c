/* A plain C host: reaches the library only through mc.h and libmc.so. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "mc.h"

static int failures = 0;
#define CHECK(cond)                                                   \
  do {                                                                \
    if (!(cond)) {                                                    \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

static char *read_all(const char *path) {
  FILE *f = fopen(path, "rb");
  char *text;
  long n;
  if (f == NULL) return NULL;
  fseek(f, 0, SEEK_END);
  n = ftell(f);
  fseek(f, 0, SEEK_SET);
  text = (char *)malloc((size_t)n + 1);
  if (text != NULL) {
    text[fread(text, 1, (size_t)n, f)] = '\0';
  }
  fclose(f);
  return text;
}

static void test_trace_and_memory(const char *dir) {
  char path[512];
  char *text;
  char *full = NULL;
  uint32_t before = ulMemAllouee;
  void *block;
  snprintf(path, sizeof path, "%s/c_api_trace.log", dir);
  CHECK(MC_usActiverTrace(path, "w", 1, 6, 2) == MC_OK);
  CHECK(MC_bTraceActive() == 1);
  MC_TraceEcrire(1, 6, MC_TRACE_ENTREE, "host %d", 1);
  MC_TraceEcrire(1, 6, MC_TRACE_SORTIE, "host %d", 1);
  CHECK(MC_usActiverTrace(NULL, NULL, 1, 6, 0) == MC_OK);
  text = read_all(path);
  CHECK(text != NULL && strcmp(text, "### DEBUT TRACE ###\n{ host 1\n  host 1\n}\n### FIN TRACE ###\n\n") == 0);
  free(text);

  block = MC_Allouer(64);
  CHECK(block != NULL);
  CHECK(ulMemAllouee > before);
  MC_Liberer(block);
  CHECK(ulMemAllouee == before);
  CHECK(MC_usCreerNomCompletFichier("/tmp", "x", &full) == MC_OK);
  CHECK(full != NULL && strcmp(full, "/tmp/x") == 0);
  MC_Liberer(full);
}

int main(int argc, char **argv) {
  const char *dir = argc > 1 ? argv[1] : ".";
  test_trace_and_memory(dir);
  if (failures != 0) {
    printf("c_api_test: %d failed\n", failures);
    return 1;
  }
  printf("c_api_test: all checks passed\n");
  return 0;
}
