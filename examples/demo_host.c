/* A host module at work: starts the library with traces on, builds an order
   message in a zone, checks it, takes its bytes, receives them into a new
   zone and walks it, shows what the check says of a broken message, writes
   and reads back a signed binary file, and stops.

     demo_host WORKDIR PRIVATE_KEY

   The library finds its tables file and working directory through
   tovel.ini, in $MC_PREFERENCES_DIR.  The host writes into WORKDIR the trace
   (demo_host.log), the message (message.bin) and the signed file
   (orders.bin). */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "mc.h"

/* The host's own trace channel: module 9, component 1. */
#define HOTE 9, 1

static void print_hex(const unsigned char *b, uint32_t n) {
  uint32_t i;
  for (i = 0; i < n; ++i) printf("%02X", b[i]);
  printf("\n");
}

static int failed(const char *what, uint16_t status) {
  fprintf(stderr, "demo_host: %s: status 0x%04X\n", what, status);
  return 1;
}

/* Adds a field, enlarging the zone when it is full (0xF804), as hosts do. */
static uint16_t add_field(uint16_t zone, const char *text) {
  uint16_t s = MC_usAjouterChamp(zone, (const unsigned char *)text, (uint32_t)strlen(text));
  while (s == MC_ERR_DEPASSEMENT) {
    s = MC_usRedimensionner(zone, ZM[zone]->TailleBuffer * 2);
    if (s == MC_OK) s = MC_usAjouterChamp(zone, (const unsigned char *)text, (uint32_t)strlen(text));
  }
  return s;
}

static uint16_t add_group(uint16_t zone, uint16_t id) {
  uint16_t s = MC_usAjouterGroupe(zone, id);
  while (s == MC_ERR_DEPASSEMENT) {
    s = MC_usRedimensionner(zone, ZM[zone]->TailleBuffer * 2);
    if (s == MC_OK) s = MC_usAjouterGroupe(zone, id);
  }
  return s;
}

/* An order: header (number, date, customer), one line (item, quantity,
   currency), trailer (line count). */
static uint16_t build_order(uint16_t *zone, const char *currency) {
  uint16_t s = MC_usCreerZoneMemoire(16, 1, zone);
  if (s == MC_OK) s = add_group(*zone, 0x0101);
  if (s == MC_OK) s = add_field(*zone, "42");
  if (s == MC_OK) s = add_field(*zone, "20240601");
  if (s == MC_OK) s = add_field(*zone, "DUPONT");
  if (s == MC_OK) s = add_group(*zone, 0x0201);
  if (s == MC_OK) s = add_field(*zone, "BOLT 12");
  if (s == MC_OK) s = add_field(*zone, "250");
  if (s == MC_OK) s = add_field(*zone, currency);
  if (s == MC_OK) s = add_field(*zone, "");
  if (s == MC_OK) s = add_group(*zone, 0x0301);
  if (s == MC_OK) s = add_field(*zone, "1");
  return s;
}

/* Frees a zone made by MC_usCreerZoneMemoire with its buffer. */
static void free_zone(uint16_t zone) {
  unsigned char *buffer = NULL;
  uint32_t n = 0;
  MC_pucLireBuffer(zone, &n, &buffer);
  MC_usLibererZoneMemoire(zone);
  MC_Liberer(buffer);
}

/* Prints group and field of field rank k (from 1) of a zone. */
static void print_field_at(uint16_t zone, unsigned k) {
  uint16_t id = 0, number = 0;
  unsigned char *data;
  uint32_t length;
  unsigned rank = 0, group = 0;
  MC_usPositionnerDebut(zone);
  while (MC_usAvancerGroupeSuivant(zone, 1, 1, &id) == MC_OK) {
    ++group;
    while (MC_usAvancerChampSuivant(zone, 1, &number, &data, &length) == MC_OK) {
      if (++rank == k) {
        printf("  field %u of the message is field %u of group %u (0x%04X): \"%.*s\"\n", k, number, group, id,
               (int)length, (const char *)data);
        return;
      }
    }
  }
}

static int write_file(const char *path, const unsigned char *b, uint32_t n) {
  FILE *f = fopen(path, "wb");
  int ok = f != NULL && fwrite(b, 1, n, f) == n;
  if (f != NULL && fclose(f) != 0) ok = 0;
  return ok;
}

/* A binary file of control type 2 with one table holding the message; the
   writer signs it at close with the private key. */
static uint16_t write_signed(const char *dir, const char *key, const unsigned char *b, uint32_t n) {
  EnteteFichierBinaire h;
  EnteteTable t;
  uint16_t num = 0, s, c;
  memset(&h, 0, sizeof h);
  strcpy(h.acNomFichier, "orders.bin");
  memcpy(h.acVersion, "0001", 4);
  memcpy(h.acChampA, "DEMO ", 5);
  memcpy(h.acChampB, "20240601", 8);
  memcpy(h.acVersionLecteur, "0001", 4);
  memcpy(h.acChampC, "HOST ", 5);
  memcpy(h.acChampD, "0000000042", 10);
  strcpy(h.acCommentaire, "Orders sent by the demo host");
  memset(&t, 0, sizeof t);
  memcpy(t.acNomTable, "ORDERS    ", 10);
  t.ulNombre = 1;
  s = MC_usCreerFichierBinaire(dir, "orders.bin", MC_CONTROLE_SIGNATURE, &h, &num);
  if (s == MC_OK) s = MC_usEcrireEnteteTable(num, &t);
  if (s == MC_OK) s = MC_usEcrireUnsignedLong(num, n);
  if (s == MC_OK) s = MC_usEcrireChampFixe(num, b, n);
  if (num == 0) return s;
  c = MC_usLibererFichierBinaire(num, key);
  return s != MC_OK ? s : c;
}

/* Opens the signed file (the signature is checked at open) and reads the
   message length back. */
static uint16_t read_signed(const char *dir, uint32_t *n) {
  EnteteFichierBinaire h;
  EnteteTable t;
  uint16_t num = 0;
  uint16_t s = MC_usInitialiserFichierBinaire(dir, "orders.bin", MC_CONTROLE_SIGNATURE, &num, &h);
  if (s == MC_OK) s = MC_usRechercherTable(num, "ORDERS", &t);
  if (s == MC_OK) s = MC_usLireUnsignedLong(num, n);
  if (num != 0) MC_usLibererFichierBinaire(num, NULL);
  return s;
}

/* Changes one byte of a file in place (at is from the start), giving back the old one. */
static int poke(const char *path, long at, int value) {
  int old;
  FILE *f = fopen(path, "r+b");
  if (f == NULL) return -1;
  fseek(f, at, SEEK_SET);
  old = fgetc(f);
  fseek(f, at, SEEK_SET);
  fputc(value, f);
  fclose(f);
  return old;
}

int main(int argc, char **argv) {
  const char *dir, *key;
  char trace[1024], path[1024];
  char *version_mc = NULL, *version_tables = NULL;
  unsigned char *bytes = NULL, *received;
  uint32_t n = 0, length = 0;
  uint16_t zone, zone2, broken, s, id, number;
  unsigned char *data;
  unsigned c;
  int old;

  if (argc != 3) {
    fprintf(stderr, "usage: demo_host WORKDIR PRIVATE_KEY\n");
    return 2;
  }
  dir = argv[1];
  key = argv[2];
  snprintf(trace, sizeof trace, "%s/demo_host.log", dir);

  /* Traces: every component of the library (module 1) in full, and the host. */
  for (c = 1; c <= 7; ++c) {
    s = MC_usActiverTrace(trace, "w", 1, (uint16_t)c, 2);
    if (s != MC_OK) return failed("MC_usActiverTrace", s);
  }
  MC_usActiverTrace(trace, "w", HOTE, 2);
  MC_TraceEcrire(HOTE, MC_TRACE_DATE, "demo_host starts");

  printf("== start\n");
  s = MC_usInitLIB(&version_mc, &version_tables);
  if (s != MC_OK) return failed("MC_usInitLIB (is tovel.ini set up?)", s);
  printf("library %s, tables file %s, %u groups in the dictionary\n", version_mc, version_tables,
         (unsigned)g_ulNbTabGrp);
  MC_Liberer(version_mc);
  MC_Liberer(version_tables);

  printf("\n== build an order in a 16-byte zone (enlarged as it fills)\n");
  s = build_order(&zone, "EUR");
  if (s != MC_OK) return failed("building the order", s);
  printf("syntax check %04X, format check %04X\n", MC_usControlerSyntaxeZoneMemoire(zone),
         MC_usControlerFormatZoneMemoire(zone));
  MC_pucLireBuffer(zone, &n, &bytes);
  printf("%u bytes: ", (unsigned)n);
  print_hex(bytes, n);
  /* What a host sends: a copy of the bytes; the zone and its buffer go. */
  received = (unsigned char *)MC_Allouer(n);
  if (received == NULL) return failed("MC_Allouer", MC_ERR_ALLOCATION);
  memcpy(received, bytes, n);
  snprintf(path, sizeof path, "%s/message.bin", dir);
  if (!write_file(path, bytes, n)) return failed(path, MC_ERR_FICHIER);
  free_zone(zone);

  printf("\n== receive it into a new zone, check and walk it\n");
  s = MC_usInitialiserZoneMemoire(received, n, &zone2, 1);
  if (s != MC_OK) return failed("MC_usInitialiserZoneMemoire", s);
  printf("format check %04X\n", MC_usControlerFormatZoneMemoire(zone2));
  MC_usPositionnerDebut(zone2);
  while (MC_usAvancerGroupeSuivant(zone2, 1, 1, &id) == MC_OK) {
    printf("group 0x%04X\n", id);
    while (MC_usAvancerChampSuivant(zone2, 1, &number, &data, &length) == MC_OK)
      printf("  field %u: \"%.*s\"\n", number, (int)length, (const char *)data);
  }
  if (MC_usRechercherChamp(zone2, 0x0201, 1, 3, 1, &data, &length) == MC_OK)
    printf("currency of the first line: %.*s\n", (int)length, (const char *)data);
  MC_usLibererZoneMemoire(zone2);

  printf("\n== a broken order: currency \"XXX\"\n");
  s = build_order(&broken, "XXX");
  if (s != MC_OK) return failed("building the broken order", s);
  s = MC_usControlerFormatZoneMemoire(broken);
  printf("format check %04X\n", s);
  if (s >= MC_ERR_FORMAT_CHAMP && s < MC_ERR_FORMAT_GROUPE) print_field_at(broken, s - MC_ERR_FORMAT_CHAMP);
  free_zone(broken);

  printf("\n== a signed file\n");
  s = write_signed(dir, key, received, n);
  MC_Liberer(received);
  if (s != MC_OK) return failed("writing orders.bin", s);
  s = read_signed(dir, &length);
  printf("orders.bin written and signed; opened with its signature checked: %04X, message of %u bytes\n", s,
         (unsigned)length);
  snprintf(path, sizeof path, "%s/orders.bin", dir);
  old = poke(path, 80, 'Z');
  s = read_signed(dir, &length);
  printf("after one byte is changed: %04X (CRC or signature mismatch)\n", s);
  poke(path, 80, old);
  printf("restored: %04X\n", read_signed(dir, &length));

  printf("\n== stop\n");
  MC_usTermLIB();
  printf("modules left %u, memory held %u bytes (peak %u)\n", (unsigned)nbre_chargt_module, (unsigned)ulMemAllouee,
         (unsigned)ulMaxAlloue);
  MC_TraceEcrire(HOTE, MC_TRACE_INFO, "demo_host ends");
  MC_usActiverTrace(NULL, NULL, 1, 1, 0);
  printf("trace written to %s\n", trace);
  return 0;
}
