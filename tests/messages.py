"""The texts that kelv prints, exact to the byte."""

USAGE_LINES = [
    "",
    "How to use Kelvara's command line interface?",
    "",
    "kelv [paths to original files or a folder of files] [options]",
    "",
    "[options]",
    "",
    "--output [path to output folder or output files]",
    "",
    "By default kelv saves the compressed file to the same location as the original file. Specify an output folder if you "
    "want all files to be saved to that location. Specify file name(s) if you want to save the input files at different "
    "locations. Make sure to specify as many output locations as input files separated by a space in the same sequence as "
    "the corresponding input file.",
    "",
    "--replace",
    "",
    "By default kelv does not replace the original file. If a file with the same name already exists at the output "
    "location, a number will be added to the title of the file. Use this option if you want kelv to replace the original "
    "file. The original file is not being deleted, but moved to the Trash of the Finder.",
    "",
    "--profile [path to .kelvcp file]",
    "",
    "By default kelv uses a standard profile for web optimization. Specify the path to a .kelvcp file that you want to use "
    "for the compression. You can create a profile and export it to .kelvcp from the Kelvara main application. If you "
    "export multiple profiles onto one file, klelv will chose the first profile it finds.",
    "",
    "--subfolders",
    "",
    "If you provide one or more folders and this option, kelv will also compress files within their subfolders.",
    "",
    "--verbose",
    "",
    "Makes the compression more verbose/talkative. Mostly useful for debugging.",
    "",
]
# The text ends in a line break of its own (its last line is empty), and printing it adds one more.
USAGE = "\n".join(USAGE_LINES)

NO_INPUT = "ERROR: No input paths have been provided."
NO_PDF_IN_FOLDER = "ERROR: #q35gFE22 No PDF files have been found in that folder."

NO_ACCESS = "ERROR: #3fDD - Please grant access in the preferences of the main application."
BOOKMARK_UNRESOLVED = "ERROR: #4w5zF - Please grant access in the preferences of the main application. - "
ACCESS_REFUSED = "ERROR: #hfs44 - Please grant access in the preferences of the main application."
HAND_OVER_FAILED = "ERROR: #34horu - "

COUNT_DIFFERS = "ERROR: Please make sure there are as many output paths as input paths"
NO_OUTPUT_FOLDER = "ERROR: Unable to create output directory "
PROFILE_UNREADABLE = "ERROR: Failed to read profile at "

DEFAULT_PROFILE = "No Profile has been provided, using default profile. Please wait."
HYPHENS = "-" * 39
UNREADABLE_INPUT = "ERROR: 3fiuhI§22 - "
UNABLE = "ERROR: Unable to complete compression via comamnd line tool. "
HINT = "Did you grant access in the preferences of the main app?"
FINISH_FAILED = "ERROR: qefinuNDS - "

NOT_SMALLER = "The file size did not increase for the file at this path: "
SUCCESS = "Succesfully compressed file by "
NEW_NAME = "There is already a file at the output location. Use new name: "
TO_TRASH = "There is already a file at the output location. Moving file at output location to trash."
NO_TRASH = "The file could not be moved to the trash. "
SAVING = "Saving compressed file to "
TAGS = "Applying file tags."
FINISHED = "Finished compressing all files. Terminating..."


def folder_count(count):
    return f"You have specified a folder that contains {count} files"


def starting(number, count):
    return f"Starting compression of file {number} of {count}. Please wait."


def success(percentage, name):
    return f"{SUCCESS}{percentage} percent of: {name}"


def kept(number, count, source_name, saved_to, percentage="50.0", profile=False, renamed=True):
    """The verbose lines of one file that was compressed and kept."""
    lines = [HYPHENS, starting(number, count)]
    if not profile:
        lines.append(DEFAULT_PROFILE)
    lines.append(success(percentage, source_name))
    if renamed:
        lines.append(f"{NEW_NAME}{str(saved_to).rsplit('/', 1)[1]}.")
    return [*lines, f"{SAVING}{saved_to}.", TAGS]
