/*
 * mc.h -- the C interface of libmc, the common module of the suite.
 *
 * One header for the whole library, valid C99 and C++.  Sections follow the
 * subsystems: core (lifecycle, configuration files, counted memory, file
 * helpers, version records), trace log, binary table files and signatures,
 * data dictionary, memory zones, date and string tools.
 *
 * Conventions, stated once for every function below:
 *
 *  - Status codes.  Functions named MC_us... (and most internal us...
 *    functions) return a uint16_t status: 0 for success, otherwise one of the
 *    MC_ERR_... codes listed in the table below.  A trace line
 *    (see MC_usActiverTrace) tells which step failed.
 *  - Booleans.  Functions named ...b... return int32_t: 1 for true or done,
 *    0 for false or failed.
 *  - Sizes named "32-bit" are uint32_t, whatever the size of long.
 *  - Out arguments are pointers; a function writes through them only as its
 *    comment says.  A null out argument is reported with a status
 *    (usually 0xF802), never by crashing.
 *  - Ownership.  Every block that a function hands out as new (a string, an
 *    array, a record) was taken with MC_Allouer and belongs to the caller,
 *    who gives it back with MC_Liberer.  Pointers handed out by the zone
 *    functions point into the zone's buffer and stay valid until the zone is
 *    next edited, resized or freed.  Freeing a zone gives back only its
 *    record: the buffer stays with whoever provided it.
 *  - Null pointers given as input are reported with a status or a false
 *    result; no function aborts.
 *  - Threads.  The library keeps process-wide state without locks: call it
 *    from one thread at a time.
 *  - Configuration files are looked up in "/Library/Preferences", or in the
 *    directory named by the environment variable MC_PREFERENCES_DIR when set.
 *
 * Status codes:
 *
 *   0x0000  success
 *   0x0001  dictionary release of a table that was not loaded; CRC
 *           computation could not seek; a message signature could not be made
 *   0x0406  signature verification: bad signature length
 *   0x040A  signature verification: public-key operation failed
 *   0x040B  signature verification: signature does not match
 *   0x9000+k zone format check: failure at field rank k
 *   0xA000+n zone format check: unknown group at group rank n
 *   0xA800+n zone format check: wrong fields in the group at rank n
 *   0xD000  trace channel with module 1 and a component outside 1 to 8
 *   0xD201  trace file cannot be opened
 *   0xD202  table of trace channels full
 *   0xF610  file error: open, read, write, seek, tell or close; double too
 *           large; key file unreadable
 *   0xF620  tables file version outside the accepted range
 *   0xF630  CRC or signature mismatch when a binary file is opened
 *   0xF640  end of file or read error; unknown table in the tables file
 *   0xF660  name in a binary file's header differs from the name opened
 *   0xF680  tables directory not configured
 *   0xF6F1  working directory not configured
 *   0xF6F2  version record could not be created
 *   0xF800  null number pointer or header record given to the open
 *   0xF801  allocation failed; no free zone; new zone size below the
 *           allocated size; no place given for a result
 *   0xF802  bad argument (null pointer, zero size, number 0, bad trace file
 *           name or mode, length code longer than 4 bytes)
 *   0xF804  operation would go beyond the zone's buffer (nothing changed)
 *   0xF805  not found or end reached
 *   0xF806  group found, but fewer occurrences than asked
 *   0xF807  zone or file number invalid or not in use
 *   0xF80A  all 100 file numbers in use
 *   0xF810  coded zone data unreadable or inconsistent
 *   0xF811  operation not allowed here
 *   0xFFFB  allocation of an initialisation or working-directory buffer failed
 *   0xFFFE  position or length outside the current field; lengthening refused
 *   0xFFFF  a seek back to a saved position failed; closing the trace failed
 */
#ifndef MC_H
#define MC_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#if defined(__GNUC__) || defined(__clang__)
#define MC_EXPORT __attribute__((visibility("default")))
#else
#define MC_EXPORT
#endif

#ifdef __cplusplus
#define MC_NOEXCEPT noexcept
extern "C" {
#else
#define MC_NOEXCEPT
#endif

/* ======================================================================
 * Status codes
 * ====================================================================== */

#define MC_OK                     0x0000u
#define MC_ERR_NON_CHARGE         0x0001u
#define MC_ERR_SIG_LONGUEUR       0x0406u
#define MC_ERR_SIG_CLE_PUBLIQUE   0x040Au
#define MC_ERR_SIG_DIFFERENTE     0x040Bu
#define MC_ERR_FORMAT_CHAMP       0x9000u /* + field rank in the zone */
#define MC_ERR_FORMAT_GROUPE      0xA000u /* + group rank in the zone */
#define MC_ERR_FORMAT_CHAMPS      0xA800u /* + group rank in the zone */
#define MC_ERR_TRACE_COMPOSANT    0xD000u
#define MC_ERR_TRACE_OUVERTURE    0xD201u
#define MC_ERR_TRACE_PLEIN        0xD202u
#define MC_ERR_FICHIER            0xF610u
#define MC_ERR_VERSION            0xF620u
#define MC_ERR_CONTROLE           0xF630u
#define MC_ERR_FIN_FICHIER        0xF640u
#define MC_ERR_NOM_FICHIER        0xF660u
#define MC_ERR_REP_TABLE          0xF680u
#define MC_ERR_REP_TRAVAIL        0xF6F1u
#define MC_ERR_VERSION_COMPOSANT  0xF6F2u
#define MC_ERR_NUMERO_NUL         0xF800u
#define MC_ERR_ALLOCATION         0xF801u
#define MC_ERR_ARGUMENT           0xF802u
#define MC_ERR_DEPASSEMENT        0xF804u
#define MC_ERR_NON_TROUVE         0xF805u
#define MC_ERR_OCCURRENCE         0xF806u
#define MC_ERR_NUMERO             0xF807u
#define MC_ERR_PLUS_DE_FICHIER    0xF80Au
#define MC_ERR_DONNEES            0xF810u
#define MC_ERR_INTERDIT           0xF811u
#define MC_ERR_INIT_ALLOCATION    0xFFFBu
#define MC_ERR_HORS_CHAMP         0xFFFEu
#define MC_ERR_REPOSITIONNEMENT   0xFFFFu

/* ======================================================================
 * Core: library lifecycle
 * ====================================================================== */

/* Several host modules share the library: each calls MC_usInitLIB first and
   MC_usTermLIB when done.  Only the first initialisation works (reads
   "repertoiretravail" and "repertoiretable" of section "commun" of
   "tovel.ini", loads the dictionary from "tablebin.kmt" under CRC control,
   writes the version records 92.adm and 93.adm); only the last termination
   releases the dictionary. */

/* Library version, written to record 92 and handed to the first initialiser. */
#define MC_VERSION_LIBRAIRIE "0103"

/* Successful initialisations not yet terminated. */
extern MC_EXPORT uint16_t nbre_chargt_module;

/* Initialises the library for one module.  The first successful call stores
   new 5-byte strings (free them with MC_Liberer) with the library's version
   and the tables file's version into the out arguments; later calls only
   count and touch nothing.  0, 0xFFFB, 0xF680, 0xF620, 0xF640, 0xF6F1 (the
   library is then not initialised), 0xF802 (null out argument), a status of
   the tables file's open or reads, or of a version record write (the library
   is then initialised all the same). */
MC_EXPORT uint16_t MC_usInitLIB(char **ppcVersionMC, char **ppcVersionTables) MC_NOEXCEPT;
/* Ends one module's use; the last one releases the dictionary.  The counter
   is decreased without a test: a call without initialisation leaves 65535.
   Always 0. */
MC_EXPORT uint16_t MC_usTermLIB(void) MC_NOEXCEPT;
/* The work of MC_usInitLIB (counting included); same arguments and results. */
MC_EXPORT uint16_t usIAInitialisation(char **ppcVersionMC, char **ppcVersionTables) MC_NOEXCEPT;
/* The work of the last MC_usTermLIB: releases the dictionary; always 0. */
MC_EXPORT uint16_t usIADecharger(void) MC_NOEXCEPT;
/* Releases the three dictionary arrays; 0, or 1 when any was not loaded. */
MC_EXPORT uint16_t usGTSupprTables(void) MC_NOEXCEPT;

/* ======================================================================
 * Core: configuration files
 * ====================================================================== */

/* INI files: lines "[SECTION]" and "key=value"; section and key names need
   at least 2 characters and are matched without regard to case; the first
   matching entry in file order wins.  A file name holding a '/' is used as it
   stands, any other is looked up in the preferences directory
   ("/Library/Preferences", or $MC_PREFERENCES_DIR when set and not empty).
   Names of 256 characters or more never match.

   String readers put their NUL right after the characters copied: a value
   cut at lTaille characters ends at pcDestination[lTaille], so the
   destination must hold lTaille + 1 bytes. */

/* Set by read_lineSpecial at the first end of file (or 0xFF byte), cleared at the next. */
extern MC_EXPORT int32_t finficpourligne;

/* Reads a string (default "") into pcDestination; returns its length, 0 for a
   null section, key or destination or a size <= 0 (then nothing is read). */
MC_EXPORT uint32_t MC_ulLireChaineIni(const char *pcSection, const char *pcCle, char *pcDestination,
                                      int32_t lTaille, const char *pcFichier) MC_NOEXCEPT;
/* Reads a number (atoi of the value); -1 when absent or for a null section or key. */
MC_EXPORT int32_t MC_lLireLongIni(const char *pcSection, const char *pcCle, const char *pcFichier) MC_NOEXCEPT;
/* Writes section/key=value (see WriteIniString); 1 written, 0 failed. */
MC_EXPORT int32_t MC_bEcrireChaineIni(const char *pcSection, const char *pcCle, const char *pcValeur,
                                      const char *pcFichier) MC_NOEXCEPT;
/* MC_ulLireChaineIni on the shared file "tovel.ini". */
MC_EXPORT uint32_t MC_ulLireChaineTovel(const char *pcSection, const char *pcCle, char *pcDestination,
                                        int32_t lTaille) MC_NOEXCEPT;
/* MC_lLireLongIni on the shared file "tovel.ini". */
MC_EXPORT int32_t MC_lLireLongTovel(const char *pcSection, const char *pcCle) MC_NOEXCEPT;
/* MC_bEcrireChaineIni on the shared file "tovel.ini". */
MC_EXPORT int32_t MC_bEcrireChaineTovel(const char *pcSection, const char *pcCle, const char *pcValeur) MC_NOEXCEPT;

/* Copies pcDefaut (cut to lTaille - 1 characters when longer than lTaille)
   into pcDestination, overwrites it with the value found; returns its length.
   Untraced file layer under the MC_ calls. */
MC_EXPORT uint32_t GetIniString(const char *pcSection, const char *pcCle, const char *pcDefaut,
                                char *pcDestination, int32_t lTaille, const char *pcFichier) MC_NOEXCEPT;
/* Returns atoi of the value found, or lDefaut. */
MC_EXPORT int32_t GetIniInt(const char *pcSection, const char *pcCle, int32_t lDefaut,
                            const char *pcFichier) MC_NOEXCEPT;
/* Writes the entry in section "[SECTION]" (upper-cased): replaces the first
   line of the section that begins with pcCle (compared over its length only),
   else inserts it before the section's first empty line, else appends it; a
   missing section is appended.  The file is rewritten through
   "WriteIniTmp.txt" in the preferences directory; a last line without LF and
   anything from a 0xFF byte on are dropped.  Returns 1, or 0 when nothing
   could be written. */
MC_EXPORT int32_t WriteIniString(const char *pcSection, const char *pcCle, const char *pcValeur,
                                 const char *pcFichier) MC_NOEXCEPT;
/* Scanner: stores the value of section/key into pvDestination, as a 32-bit
   atoi for cType 'i' or 'I', else as a string of at most lTaille characters
   plus NUL; returns pvDestination (untouched when not found), or null when the
   file's size could not be read. */
MC_EXPORT void *pkw_GetIniInfo(const char *pcSection, const char *pcCle, void *pvDestination, char cType,
                               int32_t lTaille, const char *pcFichier) MC_NOEXCEPT;
/* Reads a line (LF dropped, CR kept) into a 256-byte buffer, longer lines cut
   to 255 characters; 1, or 0 unterminated at the end of file or a 0xFF byte. */
MC_EXPORT int32_t read_line(FILE *pstFichier, char *pcLigne) MC_NOEXCEPT;
/* As read_line, but the first end of file (or 0xFF byte) ends the line, is
   kept in it as 0xFF and gives 1; the next gives 0. */
MC_EXPORT int32_t read_lineSpecial(FILE *pstFichier, char *pcLigne) MC_NOEXCEPT;
/* Number of characters before the first NUL, CR or LF. */
MC_EXPORT int32_t pkw_GetLine(const char *pcTexte) MC_NOEXCEPT;
/* Position of cCaractere in the current line, or 0 when absent. */
MC_EXPORT int32_t pkw_GetToken(const char *pcTexte, char cCaractere) MC_NOEXCEPT;
/* Upper-cases pcTexte in place; returns it. */
MC_EXPORT char *pkw_uprstr(char *pcTexte) MC_NOEXCEPT;

/* ======================================================================
 * Core: counted memory and file helpers
 * ====================================================================== */

/* Bytes currently held through MC_Allouer, counted as real block sizes. */
extern MC_EXPORT uint32_t ulMemAllouee;
/* Highest value ulMemAllouee has reached since the library was loaded. */
extern MC_EXPORT uint32_t ulMaxAlloue;

/* Allocates ulTaille bytes and counts the block; returns it, or null. */
MC_EXPORT void *MC_Allouer(uint32_t ulTaille) MC_NOEXCEPT;
/* Gives back a block taken with MC_Allouer; a null block does nothing. */
MC_EXPORT void MC_Liberer(void *pvBloc) MC_NOEXCEPT;
/* Stores the length of an open stream, position unchanged; 0, 0xF610, 0xFFFF. */
MC_EXPORT uint16_t MC_usLongueurFichier(FILE *pstFichier, uint32_t *pulLongueur) MC_NOEXCEPT;
/* Builds "directory/name" in a new block for the caller; 0, 0xF801, 0xF802. */
MC_EXPORT uint16_t MC_usCreerNomCompletFichier(const char *pcRepertoire, const char *pcNom,
                                               char **ppcNomComplet) MC_NOEXCEPT;
/* Formats the local time with strftime into pcTexte (at most *pulTaille
   bytes); stores and returns the length written, 0 when it did not fit. */
MC_EXPORT uint32_t donneDateHeure(char *pcTexte, uint32_t *pulTaille, const char *pcFormat) MC_NOEXCEPT;
/* Opens a stream with a C mode string into *ppstFichier; 0 or 0xF610. */
MC_EXPORT uint16_t usOuvrirFichier(const char *pcChemin, const char *pcMode, FILE **ppstFichier) MC_NOEXCEPT;
/* Closes a stream; 0 or 0xF610. */
MC_EXPORT uint16_t usFermerFichier(FILE *pstFichier) MC_NOEXCEPT;
/* Reads up to *pulNombre bytes; stores the count read (low 16 bits); 0 or 0xF610. */
MC_EXPORT uint16_t usLireBufferFichier(FILE *pstFichier, void *pvBuffer, uint32_t *pulNombre) MC_NOEXCEPT;
/* Builds the version record name "<component>.adm" in a new block; 0 (0xF801 if memory fails). */
MC_EXPORT uint16_t usConstruireNomComplet(int8_t cComposant, char **ppcNom) MC_NOEXCEPT;

/* ======================================================================
 * Core: component version records
 * ====================================================================== */

/* Records "<component>.adm" in the working directory ("commun" /
   "repertoiretravail" of "tovel.ini", read at every call), holding the version
   text as given: no terminator, no line end. */

/* Stores a new 256-byte block in *ppcRepertoire (free it with MC_Liberer,
   also on failure) and reads the working directory into it; 0, 0xF6F1 not
   configured, 0xFFFB no memory, 0xF802 null argument. */
MC_EXPORT uint16_t MC_usDonnerRepertoireTravail(char **ppcRepertoire) MC_NOEXCEPT;
/* Gives a component's record as a new block of its exact length (not
   terminated); 0, 0xF6F1, 0xF610 no record or file error, 0xF801, 0xFFFB,
   0xF802.  Out arguments are untouched on failure. */
MC_EXPORT uint16_t MC_usLireVersionComposant(int8_t cComposant, uint8_t **ppucContenu,
                                             uint32_t *pulLongueur) MC_NOEXCEPT;
/* Creates or replaces a component's record; 0, 0xF6F1, 0xF6F2 record not
   created, 0xF610 close failed, 0xFFFB, 0xF802. */
MC_EXPORT uint16_t MC_usEcrireVersionComposant(int8_t cComposant, const char *pcVersion) MC_NOEXCEPT;

/* ======================================================================
 * Trace log
 * ====================================================================== */

/* Trace kinds, third argument of MC_TraceEcrire. */
#define MC_TRACE_DATE    0u /* empty line, ctime stamp, message; any channel */
#define MC_TRACE_BLOC    1u /* "{ message" and "}" */
#define MC_TRACE_ENTREE  2u /* "{ message", one level deeper */
#define MC_TRACE_SORTIE  3u /* "message", "}", one level up */
#define MC_TRACE_INFO    4u /* "message" */
#define MC_TRACE_ERREUR  5u /* "ERREUR : message", at every level */

/* Number of channels the table of active traces holds. */
#define MC_NB_TRACES_MAX 100

/* One registered trace channel. */
typedef struct TraceActive {
  uint16_t usModule;    /* module number */
  uint16_t usComposant; /* component number */
  uint8_t ucNiveau;     /* 0 errors only, 1 summary, 2 full */
} TraceActive;

/* The open trace stream, or null when tracing is off. */
extern MC_EXPORT FILE *fichier;
/* Nesting depth of traced calls (8-bit, wraps). */
extern MC_EXPORT uint8_t indentation;
/* Number of channels in use in TracesActives. */
extern MC_EXPORT int32_t NbTracesActives;
/* Registered channels, in order of registration. */
extern MC_EXPORT TraceActive TracesActives[MC_NB_TRACES_MAX];

/* Writes one trace item of kind usType on channel (usModule, usComposant). */
MC_EXPORT void MC_TraceEcrire(uint16_t usModule, uint16_t usComposant, uint16_t usType,
                              const char *pcFormat, ...) MC_NOEXCEPT;
/* Same as MC_TraceEcrire with the arguments as a started va_list. */
MC_EXPORT void MC_TraceEcrire2(uint16_t usModule, uint16_t usComposant, uint16_t usType,
                               const char *pcFormat, va_list vaArguments) MC_NOEXCEPT;
/* Dumps usNombre bytes, one "label[i] = 0xhh" line each, on level-2 channels. */
MC_EXPORT void MC_TraceEcrireBinaire(uint16_t usModule, uint16_t usComposant, const char *pcLibelle,
                                     const unsigned char *pucOctets, uint16_t usNombre) MC_NOEXCEPT;
/* Switches tracing on (opening the file), changes a channel's level, or with
   level 0 closes the trace; 0, 0xF802, 0xD201, 0xD202, 0xD000. */
MC_EXPORT uint16_t MC_usActiverTrace(const char *pcNomFichier, const char *pcMode, uint16_t usModule,
                                     uint16_t usComposant, uint8_t ucNiveau) MC_NOEXCEPT;
/* Opens a trace file ("w", "wb", "a", "ab") into *ppstFichier; 0, 0xF802, 0xD201. */
MC_EXPORT uint16_t MC_usOuvrirTrace(const char *pcNomFichier, const char *pcMode,
                                    FILE **ppstFichier) MC_NOEXCEPT;
/* Writes the end line and closes the trace; the close's result (0 or 0xFFFF). */
MC_EXPORT uint16_t MC_usFermerTrace(void) MC_NOEXCEPT;
/* Registers a channel or changes its level; 0, 0xD202, 0xD000. */
MC_EXPORT uint16_t MC_usAjouterTrace(uint16_t usModule, uint16_t usComposant, uint8_t ucNiveau) MC_NOEXCEPT;
/* Finds a registered channel and stores its index; 1 found, 0 not. */
MC_EXPORT int32_t MC_bRechercherTrace(uint16_t usModule, uint16_t usComposant, uint16_t *pusIndice) MC_NOEXCEPT;
/* 1 when the trace file is open, else 0. */
MC_EXPORT int32_t MC_bTraceActive(void) MC_NOEXCEPT;
/* Empties the channel table; the stream and depth are left alone. */
MC_EXPORT void MC_InitialiserTraces(void) MC_NOEXCEPT;
/* Writes the indentation of the current depth. */
MC_EXPORT void MC_TraceDebutLigne(void) MC_NOEXCEPT;
/* Ends the line (LF) and flushes the trace file. */
MC_EXPORT void MC_TraceFinLigne(void) MC_NOEXCEPT;
/* Writes the indentation and "{ ", one level deeper. */
MC_EXPORT void MC_TraceDebutFonction(void) MC_NOEXCEPT;
/* Ends the line, one level up, then writes the indented "}" line. */
MC_EXPORT void MC_TraceFinFonction(void) MC_NOEXCEPT;

/* ======================================================================
 * Binary table files: format, writer, reader
 * ====================================================================== */

/* Number of binary files that can be open at once (file numbers 1 to 100). */
#define MC_NB_FICHIERS_MAX 100
/* Control types of a binary file, given at create and at open; any other
   value behaves like MC_CONTROLE_AUCUN. */
#define MC_CONTROLE_AUCUN     0u /* nothing (the reader still keeps a 128-byte trailer) */
#define MC_CONTROLE_CRC       1u /* CRC-16 as "%04X" in the first four bytes */
#define MC_CONTROLE_SIGNATURE 2u /* 128-byte signature appended at close */
/* CRC field of a file that carries no CRC (yet). */
#define CRC16_FICTIF "0000"
/* Longest comment the reader accepts into EnteteFichierBinaire (the NUL aside). */
#define MC_LONGUEUR_COMMENTAIRE_MAX 200

/* Header of a binary file: given to the writer, filled by the reader.  Every
   field is NUL-terminated; on disk each takes its array size less one byte
   (the name is space padded there, and the comment runs to a CR).  256 bytes. */
typedef struct EnteteFichierBinaire {
  char acNomFichier[13];     /* the file's own name; a longer one is cut to 12 */
  char acVersion[5];         /* 4 decimal digits */
  char acChampA[6];          /* 5 characters, set by the application */
  char acChampB[9];          /* 8 characters, set by the application */
  char acVersionLecteur[5];  /* 4 decimal digits */
  char acChampC[6];          /* 5 characters, set by the application */
  char acChampD[11];         /* 10 characters, set by the application */
  char acCommentaire[MC_LONGUEUR_COMMENTAIRE_MAX + 1]; /* up to the CR, without it */
} EnteteFichierBinaire;

/* Header of one table of a binary file (28 bytes).  On disk: the name in 10
   bytes, the three 32-bit words big-endian, the three bytes, then
   5 x (ucNbDescripteurs1 + ucNbDescripteurs2) bytes of descriptors. */
typedef struct EnteteTable {
  char acNomTable[11];        /* 10 bytes as written; the reader strips trailing spaces */
  uint32_t ulTaille;          /* bytes of the table's data after its header */
  uint32_t ulNombre;          /* number of records */
  uint32_t ulReserve;         /* written 0 */
  uint8_t ucNbDescripteurs1;  /* written 0; descriptors are skipped unread */
  uint8_t ucNbDescripteurs2;  /* written 0 */
  uint8_t ucReserve;          /* written 0 */
} EnteteTable;

/* One open binary file, owned by the file table. */
typedef struct Fichier {
  char *pcRepertoire;      /* copy of the directory given at create or open */
  char *pcNomFichier;      /* copy of the file name given at create or open */
  uint16_t usTypeControle; /* MC_CONTROLE_... */
  FILE *pFlux;             /* the open stream */
  uint32_t ulTaille;       /* writer: data bytes since the last table header;
                              reader: length of the file at open */
  uint16_t bLecture;       /* 1 when opened for reading */
  uint16_t bEcriture;      /* 1 when created for writing */
} Fichier;

/* Value of a slot of fichiers that a create or open has taken but not yet filled. */
#define MC_FICHIER_RESERVE ((Fichier *)1)
/* The file table: slot n - 1 holds file number n (null when free). */
extern MC_EXPORT Fichier *fichiers[MC_NB_FICHIERS_MAX];
/* 1 once the file table has been cleared by the first create or open. */
extern MC_EXPORT int32_t initialise;
/* Position of the size word of the last table header whose size is not yet
   patched, 0 when none; one for the whole process, whatever the file. */
extern MC_EXPORT int32_t lPositionTailleTable;

/* Clears the file table the first time; returns 0. */
MC_EXPORT uint16_t usInitialiserTableauFichiers(void) MC_NOEXCEPT;
/* Reserves the lowest free file number into *pusNumFichierBinaire; 0, 0xF80A, 0xF802. */
MC_EXPORT uint16_t usRechercherNumeroFichier(uint16_t *pusNumFichierBinaire) MC_NOEXCEPT;
/* Puts psFichier (null: frees the slot) under a file number; 0, 0xF807. */
MC_EXPORT uint16_t usRenseignerFichierTableau(uint16_t usNumFichierBinaire, Fichier *psFichier) MC_NOEXCEPT;
/* Stores the record of an open file number into *ppsFichier; 0, 0xF807, 0xF802. */
MC_EXPORT uint16_t usRechercherFichier(uint16_t usNumFichierBinaire, Fichier **ppsFichier) MC_NOEXCEPT;
/* Closes the stream and frees the record and slot of a file number, with no
   CRC, size or signature work; 0, 0xF807. */
MC_EXPORT uint16_t usLibererFichier(uint16_t usNumFichierBinaire) MC_NOEXCEPT;

/* Creates (truncating) directory/name, writes the header and stores the new
   file number (0 on failure); 0, 0xF802, 0xF80A, 0xF801, 0xF610. */
MC_EXPORT uint16_t MC_usCreerFichierBinaire(const char *pcRepertoire, const char *pcNomFichier,
                                            uint16_t usTypeControle, const EnteteFichierBinaire *psEntete,
                                            uint16_t *pusNumFichierBinaire) MC_NOEXCEPT;
/* Writes the file header from offset 0 (CRC field "0000"); 0, 0xF610, 0xF807, 0xF811. */
MC_EXPORT uint16_t usEcrireEnteteFichierBinaire(uint16_t usNumFichierBinaire,
                                                const EnteteFichierBinaire *psEntete) MC_NOEXCEPT;
/* Starts a table: writes its header with size 0 and remembers where the
   size goes; 0, 0xF807, 0xF811, 0xF610, 0xF802. */
MC_EXPORT uint16_t MC_usEcrireEnteteTable(uint16_t usNumFichierBinaire, const EnteteTable *psEntete) MC_NOEXCEPT;
/* Patches the size of the table in progress, then moves to the end of the
   file; 0, 0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireTaille(uint16_t usNumFichierBinaire) MC_NOEXCEPT;
/* Writes one byte; 0, 0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t ucValeur) MC_NOEXCEPT;
/* Writes one signed byte; 0, 0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireSignedChar(uint16_t usNumFichierBinaire, int8_t cValeur) MC_NOEXCEPT;
/* Writes 2 bytes big-endian; 0, 0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t usValeur) MC_NOEXCEPT;
/* Writes 2 bytes big-endian; 0, 0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireSignedShort(uint16_t usNumFichierBinaire, int16_t sValeur) MC_NOEXCEPT;
/* Writes 4 bytes big-endian; 0, 0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t ulValeur) MC_NOEXCEPT;
/* Writes 4 bytes big-endian; 0, 0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireSignedLong(uint16_t usNumFichierBinaire, int32_t lValeur) MC_NOEXCEPT;
/* Writes 8 bytes of packed decimal (14 digits); no mode check; 0, 0xF807,
   0xF610 (also for a magnitude of 1e14 or more, or a value that is not finite). */
MC_EXPORT uint16_t MC_usEcrireDouble(uint16_t usNumFichierBinaire, double dValeur) MC_NOEXCEPT;
/* Writes a 16-bit value big-endian and two bytes; 0, 0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireDate(uint16_t usNumFichierBinaire, uint16_t usAnnee, uint8_t ucMois,
                                   uint8_t ucJour) MC_NOEXCEPT;
/* Writes ulLongueur bytes as given; 0, 0xF807, 0xF811, 0xF610, 0xF802. */
MC_EXPORT uint16_t MC_usEcrireChampFixe(uint16_t usNumFichierBinaire, const void *pvDonnees,
                                        uint32_t ulLongueur) MC_NOEXCEPT;
/* Writes ulNombre 16-bit units in memory order; 0, 0xF807, 0xF811, 0xF610, 0xF802. */
MC_EXPORT uint16_t MC_usEcrireChampUnicodeFixe(uint16_t usNumFichierBinaire, const uint16_t *pusDonnees,
                                               uint32_t ulNombre) MC_NOEXCEPT;
/* Writes a length code and the characters (null string: one byte 0); 0,
   0xF807, 0xF811, 0xF610. */
MC_EXPORT uint16_t MC_usEcrireChaineVariable(uint16_t usNumFichierBinaire, const char *pcChaine) MC_NOEXCEPT;
/* Moves the stream (origin 0 start, 1 current, 2 end); 0 or 0xF610 for any failure. */
MC_EXPORT uint16_t MC_usPositionnerOffset(uint16_t usNumFichierBinaire, int32_t lOffset,
                                          uint16_t usOrigine) MC_NOEXCEPT;
/* Stores the stream's position; 0, 0xF610, 0xF802. */
MC_EXPORT uint16_t MC_usLirePositionFichier(uint16_t usNumFichierBinaire, uint32_t *pulPosition) MC_NOEXCEPT;
/* Finishes a written file (last table size, then CRC or signature) and
   closes any file; 0, 0xF807, 0xF610, 1, or the signing status. */
MC_EXPORT uint16_t MC_usLibererFichierBinaire(uint16_t usNumFichierBinaire,
                                              const char *pcCheminClePrivee) MC_NOEXCEPT;
/* Codes a string length in the minimal BER form into pucCode (5 bytes of
   room); returns the number of bytes (1 to 5), 0 when pucCode is null. */
MC_EXPORT uint32_t stCoderLongueur(uint32_t ulLongueur, unsigned char *pucCode) MC_NOEXCEPT;

/* Opens directory/name for reading, reads the header into *psEntete, checks
   the name and the control; stores the file number (0 when failing before
   the file is open); 0, 0xF800, 0xF802, 0xF80A, 0xF801, 0xF610, 0xF640,
   0xF660, 0xF630.  After 0xF640/0xF660/0xF630 the file stays open. */
MC_EXPORT uint16_t MC_usInitialiserFichierBinaire(const char *pcRepertoire, const char *pcNomFichier,
                                                  uint16_t usTypeControle, uint16_t *pusNumFichierBinaire,
                                                  EnteteFichierBinaire *psEntete) MC_NOEXCEPT;
/* Reads the file header from offset 5 and leaves the stream on the first
   table; 0, 0xF610, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t usLireEnteteFichierBinaire(uint16_t usNumFichierBinaire,
                                              EnteteFichierBinaire *psEntete) MC_NOEXCEPT;
/* Reads the header comment up to its CR into pcCommentaire (ulTaille bytes
   of room, NUL included); 0, 0xF640 (also when it does not fit), 0xF807, 0xF802. */
MC_EXPORT uint16_t usLireCommentaire(uint16_t usNumFichierBinaire, char *pcCommentaire,
                                     uint32_t ulTaille) MC_NOEXCEPT;
/* Reads the table header at the current position and skips its
   descriptors; 0, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireEnteteTable(uint16_t usNumFichierBinaire, EnteteTable *psEntete) MC_NOEXCEPT;
/* Finds a table by name, scanning from the current position round to it;
   leaves the stream on its data; 0, 0xF805, 0xF640, 0xF610, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usRechercherTable(uint16_t usNumFichierBinaire, const char *pcNomTable,
                                        EnteteTable *psEntete) MC_NOEXCEPT;
/* Reads one byte; 0, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t *pucValeur) MC_NOEXCEPT;
/* Reads one signed byte (set only on success); 0, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireSignedChar(uint16_t usNumFichierBinaire, int8_t *pcValeur) MC_NOEXCEPT;
/* Reads 2 bytes big-endian; 0, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t *pusValeur) MC_NOEXCEPT;
/* Reads 2 bytes big-endian (set only on success); 0, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireSignedShort(uint16_t usNumFichierBinaire, int16_t *psValeur) MC_NOEXCEPT;
/* Reads 4 bytes big-endian (all four are consumed even at the end); 0,
   0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t *pulValeur) MC_NOEXCEPT;
/* Reads 4 bytes big-endian (set only on success); 0, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireSignedLong(uint16_t usNumFichierBinaire, int32_t *plValeur) MC_NOEXCEPT;
/* Reads 8 bytes of packed decimal; 0, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireDouble(uint16_t usNumFichierBinaire, double *pdValeur) MC_NOEXCEPT;
/* Reads a 16-bit value and two bytes, stopping at the first failure; 0,
   0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireDate(uint16_t usNumFichierBinaire, uint16_t *pusAnnee, uint8_t *pucMois,
                                 uint8_t *pucJour) MC_NOEXCEPT;
/* Reads ulLongueur bytes into the caller's buffer, adding nothing; 0,
   0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireChampFixe(uint16_t usNumFichierBinaire, void *pvBuffer,
                                      uint32_t ulLongueur) MC_NOEXCEPT;
/* Reads ulNombre 16-bit units in memory order (65536 units or more never
   succeed, the count read being kept to 16 bits); 0, 0xF640, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_usLireChampUnicodeFixe(uint16_t usNumFichierBinaire, uint16_t *pusBuffer,
                                             uint32_t ulNombre) MC_NOEXCEPT;
/* Reads a length code and the characters into a new NUL-terminated block
   stored in *ppcChaine at once (the caller frees it, even on failure); 0,
   0xF640, 0xF802, 0xF801, 0xF807. */
MC_EXPORT uint16_t MC_usLireChaineVariable(uint16_t usNumFichierBinaire, char **ppcChaine) MC_NOEXCEPT;
/* Reads ulLongueur bytes from offset lOffset into a new block stored in
   *ppucBuffer (bytes past the end read as 0), position unchanged; the
   status of the seek back: 0 or 0xF610; 0xF801, 0xF802. */
MC_EXPORT uint16_t MC_usLireFichierBinaire(uint16_t usNumFichierBinaire, int32_t lOffset, uint32_t ulLongueur,
                                           unsigned char **ppucBuffer) MC_NOEXCEPT;
/* Stores the current length of the file; 0, 0xF610, 0xF802, 0xFFFF. */
MC_EXPORT uint16_t MC_usLongueurFichierBinaire(uint16_t usNumFichierBinaire, uint32_t *pulLongueur) MC_NOEXCEPT;
/* Stores where the data ends: the length at open, less 128 (not below 0)
   unless the control type is CRC; 0, 0xF807, 0xF802. */
MC_EXPORT uint16_t usTailleDonnneeFichierBinaire(uint16_t usNumFichierBinaire, uint32_t *pulTaille) MC_NOEXCEPT;
/* Decodes a length code at ulOffset of a buffer: the length, and 1 or the
   number of length bytes after the first; 0 or 0xF802. */
MC_EXPORT uint16_t usDecoderLongueur(const unsigned char *pucBuffer, uint32_t ulTailleBuffer, uint32_t ulOffset,
                                     uint32_t *pulLongueur, uint32_t *pulNombreOctets) MC_NOEXCEPT;
/* Reads the 4-character CRC field at offset 0, position unchanged; 0, 0xF610, 0xF802. */
MC_EXPORT uint16_t usLireCRC(uint16_t usNumFichierBinaire, uint16_t *pusCRC) MC_NOEXCEPT;
/* Value of one hexadecimal digit ('0'-'9', 'A'-'F', 'a'-'f'), else 0xFFFF. */
MC_EXPORT uint16_t usConvertirHexa(char cCaractere) MC_NOEXCEPT;
/* CRC-16 of the file from offset 4 to its end, position unchanged; 0, 1
   (seek to offset 4 failed), 0xF610, 0xF807, 0xF802. */
MC_EXPORT uint16_t usCalculerCRC16(uint16_t usNumFichierBinaire, uint16_t *pusCRC) MC_NOEXCEPT;

/* ======================================================================
 * Binary table files: signatures
 * ====================================================================== */

/* RSA key records (shared with the toolkit header rsaref.h). */
#include "mc_rsa_keys.h"

/* Signatures are RSASSA-PKCS1-v1_5 with MD5 under a 1024-bit key: 128 bytes. */
/* Signs ulLongueur bytes with the private key into the 128 bytes at
   pucSignature; 0, or 1 when the signature could not be made. */
MC_EXPORT uint16_t MC_usCalculerSignatureMessage(const unsigned char *pucMessage, uint32_t ulLongueur,
                                                 R_RSA_PRIVATE_KEY sClePrivee,
                                                 unsigned char *pucSignature) MC_NOEXCEPT;
/* Checks the 128-byte signature of ulLongueur bytes with the public key; 0,
   or the toolkit's status: 0x0406 bad length, 0x040A public-key operation
   failed (the block is not a well-formed signature block), 0x040B signature
   does not match (0x0401 for a null message of non-zero length). */
MC_EXPORT uint16_t MC_usVerifierSignatureMessage(const unsigned char *pucMessage, uint32_t ulLongueur,
                                                 R_RSA_PUBLIC_KEY sClePublique,
                                                 const unsigned char *pucSignature) MC_NOEXCEPT;
/* Reads a private key file (the bit count in decimal, then the 704 bytes of
   the record's numbers) into *psClePrivee; 0, 0xF610 (file not opened or
   closed, null path), 0xF802 (null record).  Short reads are not detected. */
MC_EXPORT uint16_t MC_usLireClePrivee(const char *pcChemin, R_RSA_PRIVATE_KEY *psClePrivee) MC_NOEXCEPT;
/* A new record (freed with MC_Liberer) holding the public key built into the
   library; null when memory is short. */
MC_EXPORT R_RSA_PUBLIC_KEY *MC_LireClePublique(void) MC_NOEXCEPT;
/* Appends to a written file the signature of its bytes from offset 4 on, made
   with the key file at pcCheminClePrivee; 0, 1 (signature not made), 0xF610
   (key file unreadable, signature not written), or the status of the length
   query or the read of the file. */
MC_EXPORT uint16_t MC_usEcrireSignatureFichier(uint16_t usNumFichierBinaire,
                                               const char *pcCheminClePrivee) MC_NOEXCEPT;
/* Checks the last 128 bytes of a file as the signature of its bytes from
   offset 4 up to them, with the built-in public key; 0, 0x0406 (file shorter
   than 132 bytes), 0x040A, 0x040B, 0xF610 (no memory for the key), or the
   status of the length query or the reads.  Position unchanged. */
MC_EXPORT uint16_t MC_usVerifierSignatureFichier(uint16_t usNumFichierBinaire) MC_NOEXCEPT;

/* ======================================================================
 * Data dictionary
 * ====================================================================== */

/* The dictionary is loaded from the tables TGROUPE, TCHAMP and TVALEUR of
   "tablebin.kmt" at the first MC_usInitLIB and released at the last
   MC_usTermLIB.  Arrays in counted memory; null with a count of 0 while not
   loaded.  The queries never read outside the loaded arrays, whatever the
   indices of the file say. */

/* One group (a row of TGROUPE; 6 bytes).  Its fields are the usNbChamps
   records of g_stTabChp from usIndPremierChamp on, in field-number order. */
typedef struct TGROUPE {
  uint16_t usIdGroupe;        /* group identifier */
  uint16_t usIndPremierChamp; /* index in g_stTabChp of the group's first field */
  uint16_t usNbChamps;        /* number of fields of the group */
} TGROUPE;

/* One field (a row of TCHAMP; 20 bytes).  Its allowed values are the
   usNbValeurs texts of g_cTabVal from usIndPremiereValeur on. */
typedef struct TCHAMP {
  int32_t lPresence;            /* 1: mandatory */
  uint16_t usLgMin;             /* minimum length */
  uint16_t usLgMax;             /* maximum length, 0 for none */
  int8_t cFormat;               /* format letter: 'A', 'L', 'N', 'D', other = free */
  int32_t lReserve;             /* read, used by nothing */
  uint16_t usIndPremiereValeur; /* index in g_cTabVal of the first allowed value */
  uint16_t usNbValeurs;         /* number of allowed values, 0 for any value */
} TCHAMP;

extern MC_EXPORT TGROUPE *g_stTabGrp; /* the groups, in table order */
extern MC_EXPORT TCHAMP *g_stTabChp;  /* the fields, in table order */
extern MC_EXPORT char **g_cTabVal;    /* the allowed values' texts, in table order */
extern MC_EXPORT uint32_t g_ulNbTabGrp; /* records in g_stTabGrp */
extern MC_EXPORT uint32_t g_ulNbTabChp; /* records in g_stTabChp */
extern MC_EXPORT uint32_t g_ulNbTabVal; /* entries in g_cTabVal */
/* Declared for compatibility; always 0. */
extern MC_EXPORT uint32_t g_ulIndTabGrp;
extern MC_EXPORT uint32_t g_ulIndTabChp;
extern MC_EXPORT uint32_t g_ulIndTabVal;

/* Loaders: read ulNombre records of a table from the current position of an
   open binary file (ulTaille is not used) into a new array, replacing the
   previous one (which is not freed).  A count that the rest of the file
   cannot hold is refused with 0xF640 before anything is allocated.  0,
   0xF801, 0xF807, or the first failing read's status (the records read so
   far stay). */
MC_EXPORT uint16_t usInitTabGroupe(uint16_t usNumFichierBinaire, uint32_t ulTaille, uint32_t ulNombre) MC_NOEXCEPT;
MC_EXPORT uint16_t usInitTabChamp(uint16_t usNumFichierBinaire, uint32_t ulTaille, uint32_t ulNombre) MC_NOEXCEPT;
MC_EXPORT uint16_t usInitTabValeur(uint16_t usNumFichierBinaire, uint32_t ulTaille, uint32_t ulNombre) MC_NOEXCEPT;
/* Releases: free one array and zero its count; 0, or 1 when it was not
   loaded.  The value texts stay allocated. */
MC_EXPORT uint16_t usSupprTabGroupe(void) MC_NOEXCEPT;
MC_EXPORT uint16_t usSupprTabChamp(void) MC_NOEXCEPT;
MC_EXPORT uint16_t usSupprTabValeur(void) MC_NOEXCEPT;

/* Stores a new array of every group identifier, in table order, and its
   count; 0, or 0xF801 (no memory, or a null argument: the array built is
   then lost). */
MC_EXPORT uint16_t MC_usDonnerListeGroupes(uint16_t **ppusListe, uint16_t *pusNombre) MC_NOEXCEPT;
/* Stores a new array of copies of the first group usIdGroupe's field records
   and their count (a group without fields gives 0 and an empty block); 0,
   0xF805 (no such group, or fields outside the loaded array), 0xF801. */
MC_EXPORT uint16_t MC_usDonnerInformationChamp(uint16_t usIdGroupe, TCHAMP **ppsChamps,
                                               uint16_t *pusNombre) MC_NOEXCEPT;
/* Stores a new copy of allowed value ucNumValeur (from 1) of field
   ucNumChamp (from 1) of group usIdGroupe.  The numbers are not checked
   against the group's counts, only against the loaded arrays; 0, 0xF805
   (no such group, field or value), 0xF801. */
MC_EXPORT uint16_t MC_usDonnerChampValeur(uint16_t usIdGroupe, uint8_t ucNumChamp, uint8_t ucNumValeur,
                                          char **ppcValeur) MC_NOEXCEPT;

/* ======================================================================
 * Memory zones: coding
 * ====================================================================== */

/* Coded lengths take 1 to 5 bytes: 0..127 as the byte itself, 128..254 as
   81 xx, 255..65534 as 82 xx xx, 65535..16777214 as 83 xx xx xx, above as
   84 xx xx xx xx (big-endian).  The limits sit one below what the shorter form
   could carry; they are shared by the coders and every size function.  A group
   header is the 16-bit identifier (high byte first) then the coded length of
   its content; a field is its coded length then its bytes. */

/* Number of bytes (1 to 5) the coding of ulLongueur takes. */
MC_EXPORT uint32_t MC_stCalculerTailleLongueur(uint32_t ulLongueur) MC_NOEXCEPT;
/* Writes ulLongueur coded at ulOffset of *ppucBuffer (a ZoneMemoire record may
   stand for ppucBuffer) without checking room; returns the bytes written, 0
   when ppucBuffer or *ppucBuffer is null. */
MC_EXPORT uint32_t MC_stCoderLongueur(uint32_t ulLongueur, uint32_t ulOffset,
                                      unsigned char **ppucBuffer) MC_NOEXCEPT;
/* Reads a coded length at ulOffset of a buffer of ulTailleBuffer bytes into
   *pulLongueur and its byte count into *pulNbOctets; returns a status: 0,
   0xF810 (unreadable; never reads outside the buffer), 0xF802 (null pointer). */
MC_EXPORT uint16_t MC_stDecoderLongueur(const unsigned char *pucBuffer, uint32_t ulTailleBuffer,
                                        uint32_t ulOffset, uint32_t *pulLongueur,
                                        uint32_t *pulNbOctets) MC_NOEXCEPT;
/* Size of a field of ulLongueur bytes: the length plus its coding. */
MC_EXPORT uint32_t MC_stCalculerTailleChamp(uint32_t ulLongueur) MC_NOEXCEPT;
/* Size of a group header for a content of ulLongueur bytes (3 to 7). */
MC_EXPORT uint32_t MC_stCalculerTailleEnteteGroupe(uint32_t ulLongueur) MC_NOEXCEPT;
/* Writes a group header (identifier, coded length) at ulOffset of *ppucBuffer
   without checking room; returns the bytes written (0 for a null buffer). */
MC_EXPORT uint32_t MC_stCoderEnteteGroupe(uint16_t usIdentifiant, uint32_t ulLongueur, uint32_t ulOffset,
                                          unsigned char **ppucBuffer) MC_NOEXCEPT;
/* Reads a group header at ulOffset: identifier, content length and header
   size; 0, 0xF810 (unreadable), 0xF802 (null pointer). */
MC_EXPORT uint16_t MC_usDecoderEnteteGroupe(const unsigned char *pucBuffer, uint32_t ulTailleBuffer,
                                            uint32_t ulOffset, uint16_t *pusIdentifiant,
                                            uint32_t *pulLongueur, uint32_t *pulTailleEntete) MC_NOEXCEPT;
/* Size of a whole group holding ulNombreChamps fields whose lengths follow
   as uint32_t arguments. */
MC_EXPORT uint32_t MC_stCalculerTailleGroupe1(uint32_t ulNombreChamps, ...) MC_NOEXCEPT;
/* Size of a whole group with a content of ulLongueur bytes. */
MC_EXPORT uint32_t MC_stCalculerTailleGroupe2(uint32_t ulLongueur) MC_NOEXCEPT;

/* ======================================================================
 * Memory zones: zone table, navigation and editing
 * ====================================================================== */

/* Number of entries of the zone table ZM (zone numbers 0 to 99). */
#define MC_NB_ZONES_MAX 100

/* One zone in use.  Buffer comes first so that a record can stand for the
   address of its buffer pointer (MC_stCoderLongueur).  The members from
   OffsetChamp on are the cursor; all 0 is the start position.  The record
   belongs to the zone, the buffer never does: freeing a zone frees only the
   record. */
typedef struct ZoneMemoire {
  unsigned char *Buffer;        /* the zone's buffer */
  uint32_t TailleBuffer;        /* allocated size of the buffer */
  uint32_t TailleDonnees;       /* data bytes held, from the buffer's start */
  uint32_t Structuree;          /* non-zero: groups and fields, cursor in use */
  uint32_t OffsetChamp;         /* offset of the current field's coded length */
  uint32_t OffsetGroupe;        /* offset of the current group's header */
  uint32_t TailleLongueurChamp; /* bytes of the current field's coded length */
  uint32_t LongueurChamp;       /* length of the current field's data */
  uint32_t LongueurGroupe;      /* content length of the current group */
  uint32_t TailleEnteteGroupe;  /* size of the current group's header */
  uint16_t IdGroupe;            /* current group's identifier, 0 for none */
  uint16_t NumeroChamp;         /* current field's number from 1, 0 for none */
  uint16_t CompteurGroupe;      /* groups entered since the start position */
  uint16_t CompteurChamp;       /* fields entered since the start position */
} ZoneMemoire;

/* The zone table: one record pointer per zone number, null when free. */
extern MC_EXPORT ZoneMemoire *ZM[MC_NB_ZONES_MAX];

/* Every function below taking a zone number returns 0xF807 for a number
   above 99 or a free entry, and (where it needs one kind of zone) 0xF811 for
   the wrong kind, before anything else.  Pointers it hands out point into the
   zone's buffer. */

/* Stores the lowest free zone number; 1 found, 0 when all 100 are in use. */
MC_EXPORT int32_t MC_bRechercherZoneLibre(uint16_t *pusNumZone) MC_NOEXCEPT;
/* Creates a zone with a zeroed buffer of ulTaille bytes (1 when 0); 0, 0xF801, 0xF802. */
MC_EXPORT uint16_t MC_usCreerZoneMemoire(uint32_t ulTaille, uint32_t ulStructuree,
                                         uint16_t *pusNumZone) MC_NOEXCEPT;
/* Makes a zone over the caller's full buffer, in place; 0, 0xF801, 0xF802. */
MC_EXPORT uint16_t MC_usInitialiserZoneMemoire(unsigned char *pucBuffer, uint32_t ulTaille,
                                               uint16_t *pusNumZone, uint32_t ulStructuree) MC_NOEXCEPT;
/* Same over a buffer holding ulTailleDonnees data bytes; 0, 0xF801, 0xF802. */
MC_EXPORT uint16_t MC_usInitialiserZoneMemoireNonPlein(unsigned char *pucBuffer, uint32_t ulTailleBuffer,
                                                       uint32_t ulTailleDonnees, uint16_t *pusNumZone,
                                                       uint32_t ulStructuree) MC_NOEXCEPT;
/* Frees the zone's record (not its buffer) and its number; 0, 0xF807. */
MC_EXPORT uint16_t MC_usLibererZoneMemoire(uint16_t usNumZone) MC_NOEXCEPT;
/* Stores the buffer pointer and the data length; 0, 0xF807, 0xF802. */
MC_EXPORT uint16_t MC_pucLireBuffer(uint16_t usNumZone, uint32_t *pulTaille,
                                    unsigned char **ppucBuffer) MC_NOEXCEPT;
/* Unstructured zone: copies ulLongueur bytes at ulOffset to *ppucDestination
   (bounded by the allocated size); 0, 0xF804, 0xF807, 0xF811, 0xF802. */
MC_EXPORT uint16_t MC_usLireZoneMemoire(uint16_t usNumZone, uint32_t ulOffset, unsigned char **ppucDestination,
                                        uint32_t ulLongueur) MC_NOEXCEPT;
/* Unstructured zone: writes ulLongueur bytes at ulOffset, raising the data
   length; 0, 0xF804, 0xF807, 0xF811, 0xF802. */
MC_EXPORT uint16_t MC_usEcrireZoneMemoire(uint16_t usNumZone, uint32_t ulOffset, const unsigned char *pucSource,
                                          uint32_t ulLongueur) MC_NOEXCEPT;
/* Moves the data to a new buffer of ulNouvelleTaille bytes (never smaller
   than the allocated size) and frees the old one with MC_Liberer, even a
   caller's; 0, 0xF801, 0xF807. */
MC_EXPORT uint16_t MC_usRedimensionner(uint16_t usNumZone, uint32_t ulNouvelleTaille) MC_NOEXCEPT;

/* Navigation (structured zones).  ulParcoursChamps non-zero: each move to the
   next group first steps over the remaining fields, counting them. */

/* Puts the cursor at the start (counters included); 0. */
MC_EXPORT uint16_t MC_usPositionnerDebut(uint16_t usNumZone) MC_NOEXCEPT;
/* Moves to the last group, then to its last field; 0. */
MC_EXPORT uint16_t MC_usPositionnerFin(uint16_t usNumZone, uint32_t ulParcoursChamps) MC_NOEXCEPT;
/* Moves usNombre groups forward (0 moves one) and stores the identifier
   reached; 0, 0xF805 (end), 0xF810 (unreadable), 0xF802. */
MC_EXPORT uint16_t MC_usAvancerGroupeSuivant(uint16_t usNumZone, uint16_t usNombre, uint32_t ulParcoursChamps,
                                             uint16_t *pusIdGroupe) MC_NOEXCEPT;
/* Moves usNombre fields forward in the group (0 moves one) and stores the
   field's number, data pointer and length; 0, 0xF805, 0xF810, 0xF802. */
MC_EXPORT uint16_t MC_usAvancerChampSuivant(uint16_t usNumZone, uint16_t usNombre, uint16_t *pusNumeroChamp,
                                            unsigned char **ppucDonnees, uint32_t *pulLongueur) MC_NOEXCEPT;
/* Finds the usOccurrence-th group usIdGroupe after the current one; 0,
   0xF805 (none), 0xF806 (too few), 0xF810. */
MC_EXPORT uint16_t MC_usRechercherGroupeSuivant(uint16_t usNumZone, uint16_t usIdGroupe, uint16_t usOccurrence,
                                                uint32_t ulParcoursChamps) MC_NOEXCEPT;
/* The same search from the start of the zone; 0xF802 for occurrence 0. */
MC_EXPORT uint16_t MC_usRechercherGroupe(uint16_t usNumZone, uint16_t usIdGroupe, uint16_t usOccurrence,
                                         uint32_t ulParcoursChamps) MC_NOEXCEPT;
/* Finds field usNumeroChamp of the usOccurrenceGroupe-th group usIdGroupe and
   stores its data pointer and length; 0, 0xF802, 0xF805, 0xF806, 0xF810. */
MC_EXPORT uint16_t MC_usRechercherChamp(uint16_t usNumZone, uint16_t usIdGroupe, uint16_t usOccurrenceGroupe,
                                        uint16_t usNumeroChamp, uint32_t ulParcoursChamps,
                                        unsigned char **ppucDonnees, uint32_t *pulLongueur) MC_NOEXCEPT;
/* Enters the next group and stores its identifier and its occurrence among
   the groups with that identifier (0 from the start position, where the
   cursor does not move); 0, 0xF805, 0xF810, 0xF802. */
MC_EXPORT uint16_t MC_usLireGroupeSuivant(uint16_t usNumZone, uint32_t ulParcoursChamps, uint16_t *pusIdGroupe,
                                          uint16_t *pusOccurrence) MC_NOEXCEPT;
/* Stores 1 when the current field ends at or past the data end, else 0. */
MC_EXPORT uint16_t MC_usFinDonnees(uint16_t usNumZone, uint32_t *pbFin) MC_NOEXCEPT;
/* Stores 1 when the current group is the last one, else 0. */
MC_EXPORT uint16_t MC_usFinZone(uint16_t usNumZone, uint32_t *pbFin) MC_NOEXCEPT;
/* Stores 1 when the current field is the last of its group, else 0. */
MC_EXPORT uint16_t MC_usFinGroupe(uint16_t usNumZone, uint32_t *pbFin) MC_NOEXCEPT;
/* Stores the number of groups entered since the start position. */
MC_EXPORT uint16_t MC_usLireCompteurGroupe(uint16_t usNumZone, uint16_t *pusCompteur) MC_NOEXCEPT;
/* Stores the number of fields entered since the start position. */
MC_EXPORT uint16_t MC_usLireCompteurChamp(uint16_t usNumZone, uint16_t *pusCompteur) MC_NOEXCEPT;
/* Stores a pointer to byte ulPosition of the current field's data, after
   checking ulPosition + ulLongueur lies in the field; 0, 0xF805, 0xFFFE. */
MC_EXPORT uint16_t MC_usExtraireChamp(uint16_t usNumZone, unsigned char **ppucDonnees, uint32_t ulPosition,
                                      uint32_t ulLongueur) MC_NOEXCEPT;

/* Editing (structured zones).  Nothing grows the buffer: 0xF804 means the
   result would not fit and nothing changed; resize and retry. */

/* Inserts an empty group after the current one and makes it current; 0, 0xF804. */
MC_EXPORT uint16_t MC_usAjouterGroupe(uint16_t usNumZone, uint16_t usIdGroupe) MC_NOEXCEPT;
/* Inserts a field holding a copy of ulLongueur bytes after the current field
   and makes it current; 0, 0xF804, 0xF805 (no current group), 0xF802. */
MC_EXPORT uint16_t MC_usAjouterChamp(uint16_t usNumZone, const unsigned char *pucDonnees,
                                     uint32_t ulLongueur) MC_NOEXCEPT;
/* Writes ulLongueur bytes at ulPosition of the current field, lengthening it
   when ulAgrandissement is non-zero; 0, 0xF804, 0xF805, 0xFFFE, 0xF802. */
MC_EXPORT uint16_t MC_usModifierChamp(uint16_t usNumZone, const unsigned char *pucDonnees, uint32_t ulPosition,
                                      uint32_t ulLongueur, uint32_t ulAgrandissement) MC_NOEXCEPT;

/* ======================================================================
 * Memory zones: checks
 * ====================================================================== */

/* Both checks work on a structured zone and move its cursor; the data is
   never changed.  Codes built from positions: n is the rank of a group in
   the zone and k the rank of a field in the zone (fields of the groups
   before counted), both from 1, in 16-bit arithmetic. */

/* Checks the coding: groups (none of length 0) that exactly fill the data,
   each exactly filled by its fields.  Leaves the cursor on the last group at
   its last field when it succeeds.  0, 0xF810 (any defect), 0xF807, 0xF811. */
MC_EXPORT uint16_t MC_usControlerSyntaxeZoneMemoire(uint16_t usNumZone) MC_NOEXCEPT;
/* Checks the coding, then every group and field against the dictionary:
   0xA000+n unknown group (cursor left on it) or allowed value not fetched,
   0xA800+n fewer or more fields than listed, 0x9000+k field failing its
   format letter, length, presence or allowed values; else 0, a status of
   the coding check, or of the dictionary queries (0xF801; 0xF805 with the
   cursor left on the group).  A group listed without fields may hold any.
   The cursor is back at the start after success and after field errors.
   Kept for compatibility: the field records, fetched values and reduced
   texts it takes (and the list of groups, when it stops on a group) stay
   counted in ulMemAllouee. */
MC_EXPORT uint16_t MC_usControlerFormatZoneMemoire(uint16_t usNumZone) MC_NOEXCEPT;

/* ======================================================================
 * Date and string tools
 * ====================================================================== */

/* Dates are checked as numbers (year below 10000, year 0 accepted; month 1 to
   12; day within the month, Gregorian leap years; hour 0 to 23; minute 0 to
   59) or as digit strings "YYMMDD", "YYYYMMDD" and "YYYYMMDDhhmm".  The
   two-digit year is the year number itself, 0 to 99, with no century.
   Digits are '0' to '9' only.  A null string or out pointer gives 0. */

/* 1 when the date and time are valid, else 0. */
MC_EXPORT int32_t bOUTILSEstDateValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour, uint8_t ucHeure,
                                       uint8_t ucMinute) MC_NOEXCEPT;
/* 1 when the date is valid, else 0. */
MC_EXPORT int32_t MC_bEstDateNumeriqueValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour) MC_NOEXCEPT;
/* 1 when the first 6 characters are digits forming a valid YYMMDD, else 0. */
MC_EXPORT int32_t bOUTILSEstDate6(const char *pcDate) MC_NOEXCEPT;
/* 1 when the first 8 characters are digits forming a valid YYYYMMDD, else 0. */
MC_EXPORT int32_t bOUTILSEstDate8(const char *pcDate) MC_NOEXCEPT;
/* 1 when the first 12 characters are digits forming a valid YYYYMMDDhhmm, else 0. */
MC_EXPORT int32_t bOUTILSEstDate12(const char *pcDate) MC_NOEXCEPT;
/* Checks a date string by its length (6, 8 or 12); a string of any other
   length, the empty string included, is accepted: returns 1. */
MC_EXPORT int32_t MC_bEstDateChaineValide(const char *pcDate) MC_NOEXCEPT;
/* Converts a valid date string; 1 done, 0 invalid (*pusAnnee is then 0).
   A 6-character date fills year (0 to 99), month and day.  An 8- or
   12-character date is kept in its historical form: pusAnnee must point to
   4 consecutive 16-bit cells; cell k becomes cell k * 10 + year digit k (the
   first cell, zeroed first, ends with the first digit only) and month and
   day are not written.  Other lengths return 0. */
MC_EXPORT int32_t MC_bDateChaineANumerique(const char *pcDate, uint16_t *pusAnnee, uint8_t *pucMois,
                                           uint8_t *pucJour) MC_NOEXCEPT;
/* Writes the date as ucLongueur (6, 8 or 12) characters and a NUL into pcDate
   (ucLongueur + 1 bytes), valid or not; returns 1, or 0 with nothing written
   for another length or a day above 99.  Length 12 ends in "0000"; length 6
   keeps the first two printed digits of the year (2024 gives "20"). */
MC_EXPORT int32_t MC_bDateNumeriqueAChaine(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour, uint8_t ucLongueur,
                                           char *pcDate) MC_NOEXCEPT;

/* Strings.  Classes: a digit is '0' to '9'; a capital is 'A' to 'Z', or a
   byte at or above 0x80 that the current locale (LC_CTYPE) counts as an
   upper-case wide character; the space is 0x20 only.  Lower case is not a
   letter.  Format letters: 'A' digits, capitals and spaces; 'L' capitals and
   spaces; 'N' digits; 'D' digits (and a date, in bChaineCtrlFormat); any
   other byte accepts every value.  Results: 1 true or done, 0 false; null
   arguments give 0.  A failed check leaves the out length unset. */

/* Writes lValeur with "%d" into pcTexte (12 bytes suffice) when it is below
   10 to the power ulChiffres, computed in wrapping 32-bit arithmetic and
   compared as signed: negative values always pass.  1 written, 0 not. */
MC_EXPORT int32_t MC_bLongAChaine(int32_t lValeur, char *pcTexte, uint32_t ulChiffres) MC_NOEXCEPT;
/* 1 when both strings are present and equal ignoring case, else 0. */
MC_EXPORT int32_t MC_bCompareChaine(const char *pcChaine1, const char *pcChaine2) MC_NOEXCEPT;
/* 1 when every byte is a digit (the empty string too), else 0. */
MC_EXPORT int32_t MC_bEstNumerique(const char *pcChaine) MC_NOEXCEPT;
/* 1 when every byte is a digit, a capital or a space (the empty string too). */
MC_EXPORT int32_t MC_bEstAlphaNumerique(const char *pcChaine) MC_NOEXCEPT;
/* 1 when every byte is a capital or a space (the empty string too). */
MC_EXPORT int32_t MC_bEstAlphabetique(const char *pcChaine) MC_NOEXCEPT;
/* Cuts pcTexte in place to ulLongueur characters (or up to its NUL), checks
   it against cFormat and reduces it: trailing spaces cut for 'A' and 'L',
   leading zeros for 'N' (one character stays).  pcTexte must have room for
   a NUL after the kept characters.  1 with *pulNouvelleLongueur set, else 0
   (the text stays cut). */
MC_EXPORT int32_t MC_bReduireChaine(char *pcTexte, uint32_t ulLongueur, char cFormat,
                                    uint32_t *pulNouvelleLongueur) MC_NOEXCEPT;
/* Copies ulLongueur bytes of pcSource into a new NUL-terminated block,
   stored in *ppcCopie at once (null if memory fails), checks the copy
   against cFormat and cuts trailing spaces of 'A' and 'L' in it (leading
   zeros are kept).  The copy belongs to the caller, whatever the result:
   give it back with MC_Liberer.  1 with *pulNouvelleLongueur set, else 0.
   Kept for compatibility: each successful call raises ulMemAllouee by the
   size of a work block that is never counted back. */
MC_EXPORT int32_t MC_bReduireChaineCtrl(const char *pcSource, char **ppcCopie, uint32_t ulLongueur, char cFormat,
                                        uint32_t *pulNouvelleLongueur) MC_NOEXCEPT;
/* Checks ulLongueur bytes of pcSource against cFormat without changing them
   ('D': digits, then MC_bEstDateChaineValide).  1 with *pulLongueurUtile set
   to the length less trailing spaces for 'A' and 'L', the length otherwise;
   else 0.  Takes a temporary block and gives it back before returning. */
MC_EXPORT int32_t bChaineCtrlFormat(const char *pcSource, uint32_t ulLongueur, char cFormat,
                                    uint32_t *pulLongueurUtile) MC_NOEXCEPT;
/* Converts pcSource to capitals, digits and spaces into a new block stored
   in *ppcTexte (the caller's, MC_Liberer): lower-case ASCII letters are
   raised; any other byte (every byte at or above 0x80 included) becomes a
   space, or is dropped when ulSupprimerAutres is not 0.  With the flag at 0
   the text gains one trailing space.  An empty source is converted into the
   buffer *ppcTexte already points to (2 bytes needed).  1 done with
   *pulLongueur set, 0 otherwise. */
MC_EXPORT int32_t MC_bConvertirEtenduEnAlpha(const char *pcSource, char **ppcTexte, uint32_t *pulLongueur,
                                             uint32_t ulSupprimerAutres) MC_NOEXCEPT;

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* MC_H */
