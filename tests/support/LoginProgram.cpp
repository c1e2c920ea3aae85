// Logs users in as its standard input tells, with the password file beside it. Prints the number of each result.
//
//     login NAME PASSWORD
//     register NAME PASSWORD
//     check NAME PASSWORD         by the parameters; "-" is the empty text

#include "VexLogin.h"

#include <iostream>

int main()
{
	CVexLogin oLogin;
	for (std::string sCommand, sName, sPassword; std::cin >> sCommand;)
	{
		if (sCommand == "login")
			std::cout << oLogin.Login() << " " << std::flush;
		else if (sCommand == "register")
			std::cout << oLogin.Registration() << " " << std::flush;
		else if (sCommand == "check" && std::cin >> sName >> sPassword)
		{
			CVexPassword oPassword(true);
			if (sPassword != "-")
				oPassword.SetPassword(sPassword);
			std::cout << oLogin.Login(sName == "-" ? "" : sName, oPassword) << " " << std::flush;
		}
		else
			return 1;
	}
	return 0;
}
