/* A small host module: switches a trace channel on, takes and gives back
   counted memory, and shows the trace file it wrote. */
#include <stdio.h>
#include <string.h>

#include "mc.h"

int main(int argc, char **argv) {
  const char *path = argc > 1 ? argv[1] : "trace_host.log";
  char *full = NULL;
  void *block;
  uint16_t status;
  int c;
  FILE *f;

  /* Channel (1, 5): the library's counted memory. (9, 1): this host. */
  status = MC_usActiverTrace(path, "w", 1, 5, 2);
  if (status != MC_OK) {
    fprintf(stderr, "trace_host: cannot open the trace %s (status 0x%04X)\n", path, status);
    return 1;
  }
  MC_usActiverTrace(path, "w", 9, 1, 2);
  MC_TraceEcrire(9, 1, MC_TRACE_DATE, "trace_host starts");
  MC_TraceEcrire(9, 1, MC_TRACE_ENTREE, "main");
  block = MC_Allouer(100);
  MC_TraceEcrire(9, 1, MC_TRACE_INFO, "held: %u bytes, peak %u", (unsigned)ulMemAllouee, (unsigned)ulMaxAlloue);
  MC_usCreerNomCompletFichier("/tmp", "example", &full);
  MC_TraceEcrire(9, 1, MC_TRACE_INFO, "full name: %s", full != NULL ? full : "(none)");
  MC_Liberer(full);
  MC_Liberer(block);
  MC_TraceEcrire(9, 1, MC_TRACE_INFO, "held after release: %u bytes", (unsigned)ulMemAllouee);
  MC_TraceEcrire(9, 1, MC_TRACE_SORTIE, "main");
  MC_usActiverTrace(NULL, NULL, 1, 5, 0);

  printf("trace written to %s:\n\n", path);
  f = fopen(path, "r");
  if (f == NULL) return 1;
  while ((c = fgetc(f)) != EOF) putchar(c);
  fclose(f);
  return 0;
}
