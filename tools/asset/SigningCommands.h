#ifndef quillmarsh_asset_SigningCommands_h
#define quillmarsh_asset_SigningCommands_h

/* The commands of quillmarsh-asset that make keys, sign data files and check their signatures.
   Each takes the arguments after its name, prints what it did or why it failed, and returns the
   process's exit code: 0 on success, 1 on a failure, 2 on bad arguments. */

namespace QuillmarshAsset {

extern const char* const SigningUsage;

/* keygen KEY [--bits N] [--force]: writes KEY (private, PEM, readable by the owner only) and
   KEY.pub (public, PEM) */
int keygenCommand(int argc, char** argv);

/* sign FILE --key KEY [--output OUT]: appends or replaces the signature, in place unless OUT */
int signCommand(int argc, char** argv);

/* verify FILE --key PUB: checks the signature, then the file's structure */
int verifySignatureCommand(const char* path, const char* keyPath);

}

#endif
